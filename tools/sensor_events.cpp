// SPDX-License-Identifier: Apache-2.0
// tools/sensor_events.cpp - reading reports of sensors and applying them to cameras.
#include "sensor_events.h"

#include <json/value.h>

#include <cstdlib>

#include "package/json.h"
#include "time_text.h"

namespace {

constexpr int PORT_COUNT = 32;
constexpr int MAX_EVENT = 64;

std::string ReadTime(const Json::Value& json, std::time_t& time)
{
    if (json.isIntegral() && json.isInt64() && json.asInt64() >= 0) {
        time = static_cast<std::time_t>(json.asInt64());
        return {};
    }
    time = json.isString() ? ParseTimeText(json.asString()) : -1;
    return time >= 0 ? "" : "\"time\" is neither seconds since 1970 nor \"2026-11-23 12:00:05\"";
}

/// Events that are one call: of a status, or of a flag.
constexpr struct {
    RULE_EVENT event;
    void (CamEventExecParam::*setStatus)(const EVENT_STATUS&) noexcept;
    void (CamEventExecParam::*setFlag)(bool) noexcept;
} PLAIN_EVENTS[] = {
    {RULE_EVENT_MOTION, &CamEventExecParam::SetMDStatus, nullptr},
    {RULE_EVENT_TAMPER, &CamEventExecParam::SetTDStatus, nullptr},
    {RULE_EVENT_AUDIO, &CamEventExecParam::SetADStatus, nullptr},
    {RULE_EVENT_PD, &CamEventExecParam::SetPDStatus, nullptr},
    {RULE_EVENT_QR_CODE, &CamEventExecParam::SetQRCodeStatus, nullptr},
    {RULE_EVENT_DOORBELL, &CamEventExecParam::SetDoorbellStatus, nullptr},
    {RULE_EVENT_PEOPLE_VEHICLE, nullptr, &CamEventExecParam::SetPeopleVehicleStatus},
    {RULE_EVENT_INTRUSION, nullptr, &CamEventExecParam::SetIntrusionStatus},
    {RULE_EVENT_CROWDED, nullptr, &CamEventExecParam::SetCrowdedDetectionStatus},
};

bool ApplyPlain(const SensorEvent& event, const EVENT_STATUS& status, CamEventExecParam& camera)
{
    for (const auto& [id, setStatus, setFlag] : PLAIN_EVENTS) {
        if (id == event.event) {
            setStatus != nullptr ? (camera.*setStatus)(status) : (camera.*setFlag)(event.on);
            return true;
        }
    }
    return false;
}

} // namespace

RULE_EVENT ParseEventName(const std::string& text) noexcept
{
    for (int event = 1; event < MAX_EVENT; ++event) {
        const auto value = static_cast<RULE_EVENT>(event);
        const bool isNamed = event <= RULE_EVENT_TIME_LAPSE;
        if ((isNamed && text == RuleEventText(value)) || text == std::to_string(event)) {
            return value;
        }
    }
    return RULE_EVENT_NONE;
}

std::string ParseSensorEvent(const std::string& line, SensorEvent& event)
{
    Json::Value json;
    std::string error;
    if (!JsonRead(line, json, error)) {
        return "not JSON: " + error;
    }
    if (!json.isObject()) {
        return "not a JSON object";
    }
    SensorEvent read;
    if (error = ReadTime(json["time"], read.time); !error.empty()) {
        return error;
    }
    if (!json["camera"].isInt() || !json["on"].isBool() || (json.isMember("item") && !json["item"].isInt())) {
        return "\"camera\" and \"item\" are numbers, \"on\" is true or false";
    }
    const Json::Value& name = json["event"];
    read.event = ParseEventName(name.isString() ? name.asString()
                                                : (name.isInt() ? std::to_string(name.asInt()) : ""));
    if (read.event == RULE_EVENT_NONE) {
        return "\"event\" is no event; see vx rule add --event";
    }
    read.camera = json["camera"].asInt();
    read.item = json.get("item", 0).asInt();
    read.on = json["on"].asBool();
    event = read;
    return {};
}

CamEventExecParam& SensorCameras::Camera(int id)
{
    const auto [found, isNew] = m_states.try_emplace(id);
    if (isNew) {
        found->second.InitDIStatus(PORT_COUNT, true);
        found->second.InitDOStatus(PORT_COUNT);
        found->second.SetCurConnStatus(CONN_STATUS_NORMAL);
        found->second.SetPrevConnStatus(CONN_STATUS_NORMAL);
    }
    return found->second;
}

std::string SensorCameras::Apply(const SensorEvent& event)
{
    CamEventExecParam& camera = Camera(event.camera);
    const EVENT_STATUS status{event.on, static_cast<std::uint32_t>(event.time), ++m_serial};
    if (ApplyPlain(event, status, camera)) {
        return {};
    }
    switch (static_cast<int>(event.event)) {
    case RULE_EVENT_CONN_LOST:
    case RULE_EVENT_CONN_RECOVER:
        camera.SetPrevConnStatus(camera.GetCurConnStatus());
        camera.SetCurConnStatus(event.on == (event.event == RULE_EVENT_CONN_RECOVER)
                                    ? CONN_STATUS_NORMAL
                                    : CONN_STATUS_DISCONNECTED);
        break;
    case RULE_EVENT_DIGITAL_INPUT:
    case RULE_EVENT_EXIT_BUTTON:
        if (event.item < 0 || event.item >= PORT_COUNT) {
            return "\"item\" is no port (0 to 31)";
        }
        if (event.event == RULE_EVENT_EXIT_BUTTON) {
            camera.SetRexBtnIdx(event.item);
        }
        camera.SetDIStatus(event.item, status);
        break;
    case RULE_EVENT_DOOR_ACCESS:
        camera.SetDoorAcsTime(event.on ? event.time : 0);
        break;
    case RULE_EVENT_DOOR_LOCK:
    case RULE_EVENT_DOOR_UNLOCK:
        // The door hangs on output 0: active is unlocked.
        camera.SetDOStatus(0, {event.on == (event.event == RULE_EVENT_DOOR_UNLOCK), status.timestampSec,
                               status.timestampUsec});
        camera.UpdateDoorActTimeAt(1, event.time);
        break;
    case RULE_EVENT_EXTERNAL_INPUT:
        if (event.item < 0 || event.item >= PORT_COUNT) {
            return "\"item\" is no input (0 to 31)";
        }
        camera.SetExtDIInput(event.item, event.on);
        break;
    case RULE_EVENT_APPLICATION:
        camera.SetAppStatus(event.item, status);
        break;
    case RULE_EVENT_TIME_LAPSE:
        camera.SetLapseTaskFlag(event.item, event.on);
        break;
    default:
        return "\"event\" is none that a camera reports";
    }
    return {};
}
