// SPDX-License-Identifier: Apache-2.0
// tools/fifo_json.cpp - FIFOs as JSON.
#include "fifo_json.h"

#include "shmfifo.h"

namespace {

Json::Value NullIf(bool missing, const Json::Value& value)
{
    return missing ? Json::Value() : value;
}

void AddStream(const FifoFacts& facts, Json::Value& json)
{
    const ShmFifoSnapshot& s = facts.snapshot;
    json["codec"] = NullIf(!facts.known, s.codec);
    json["width"] = NullIf(!facts.known, s.width);
    json["height"] = NullIf(!facts.known, s.height);
    json["slots"] = NullIf(!facts.known, s.fifoCnt);
    json["nextId"] = NullIf(!facts.known, s.nextId);
    json["newestId"] = NullIf(facts.NewestId() < 0, facts.NewestId());
    json["keyFrameId"] = NullIf(facts.KeyFrameId() < 0, facts.KeyFrameId());
    json["writeFps"] = NullIf(!facts.known || s.writeFPS < 0, s.writeFPS);
    json["readFps"] = NullIf(!facts.known, s.readFPS);
    json["readBytesPerSec"] = NullIf(!facts.known, s.readBPS);
    json["connectCount"] = NullIf(!facts.known, s.connectCnt);
    json["extraSize"] = NullIf(!facts.known, s.extraSize);
}

} // namespace

Json::Value ToJson(const FifoFacts& facts)
{
    Json::Value json(Json::objectValue);
    json["key"] = facts.key;
    json["state"] = TextOf(facts.state);
    json["header"] = !facts.headerGone;
    json["bytes"] = static_cast<Json::UInt64>(facts.Bytes());
    json["segments"] = static_cast<Json::UInt64>(facts.slotRows.size() + (facts.headerGone ? 0 : 1));
    json["creator"] = static_cast<int>(facts.header.creator);
    json["creatorAlive"] = facts.creatorAlive;
    json["readers"] = facts.Readers();
    AddStream(facts, json);
    return json;
}

Json::Value ToJson(const std::vector<FifoFacts>& fifos)
{
    Json::Value list(Json::arrayValue);
    for (const FifoFacts& facts : fifos) {
        list.append(ToJson(facts));
    }
    return list;
}

Json::Value SlotsJson(const ShmFifoSnapshot& snapshot)
{
    Json::Value list(Json::arrayValue);
    int index = 0;
    for (const ShmSlotSnapshot& slot : snapshot.slots) {
        Json::Value json(Json::objectValue);
        json["index"] = index;
        json["id"] = NullIf(slot.id == SHM_FIFO_NO_FRAME_ID, slot.id);
        json["key"] = slot.segment.key;
        json["generation"] = slot.generation;
        json["capacity"] = slot.capacity;
        json["writerMarks"] = slot.writerMarks;
        json["readers"] = slot.readers;
        json["frameSize"] = NullIf(!slot.frameRead, slot.frameSize);
        json["flags"] = NullIf(!slot.frameRead, slot.frameFlags);
        json["timestamp"] = NullIf(!slot.frameRead, static_cast<Json::Int64>(slot.timestamp));
        list.append(json);
        ++index;
    }
    return list;
}

Json::Value HoldersJson(const FifoFacts& facts)
{
    Json::Value list(Json::arrayValue);
    if (facts.headerGone) {
        return list;
    }
    for (const ShmHolder& holder : HoldersOf(facts.header.shmId)) {
        Json::Value json(Json::objectValue);
        json["pid"] = static_cast<int>(holder.pid);
        json["name"] = holder.name;
        json["creator"] = holder.pid == facts.header.creator;
        list.append(json);
    }
    return list;
}
