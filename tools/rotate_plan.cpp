// SPDX-License-Identifier: Apache-2.0
// tools/rotate_plan.cpp - vx rotate plan: what each limit would remove of each target, and why. Reads only.
#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "fail.h"
#include "numbers.h"
#include "package/alertevent.h"
#include "package/dbrows.h"
#include "package/recsweep.h"
#include "rotate_common.h"
#include "sqlconversion.h"
#include "table.h"
#include "vxrotatealertevt.h"
#include "webhook_common.h"

namespace {

constexpr long long BYTES_OF_MB = 1024 * 1024;
constexpr int PAGE_ROWS = 1000;
const volatile int g_neverRun = 0; ///< the rotators are only asked

struct Options {
    long long reserveMB = -1;
    int rows = 0;
    bool json = false;
};

enum STEP { STEP_VOLUME, STEP_DATE, STEP_SIZE, STEP_NUMBER, STEP_COUNT };
constexpr const char* STEP_NAMES[STEP_COUNT] = {"volume", "date", "size", "number"};

struct Row {
    long long id = 0;
    long long start = 0;
    long long stop = 0;
    long long size = 0;
    std::string path;
};

/// What one step would remove.
struct Share {
    long long count = 0;
    long long bytes = 0;
    long long from = 0; ///< start of the oldest
    long long to = 0;   ///< end of the newest
    std::vector<Row> oldest;

    void Add(const Row& row, int listed)
    {
        ++count;
        bytes += std::max(row.size, 0LL);
        from = count == 1 ? row.start : std::min(from, row.start);
        to = std::max(to, row.stop);
        if (oldest.size() < static_cast<std::size_t>(listed)) {
            oldest.push_back(row);
        }
    }
};

/// One target's pass, on paper.
class Plan {
public:
    Plan(const RotateTarget& target, long volBound, int listed)
        : m_target(target), m_logger(target.type), m_listed(listed), m_volBound(volBound),
          m_pRotator(target.make(volBound, g_neverRun, m_logger))
    {}

    /// @return 0; -1 (logged)
    int Make()
    {
        m_dayBound = m_pRotator->DaysLimit() > 0 ? GetBoundTimeOfDays(m_pRotator->DaysLimit()) : 0;
        if (m_pRotator->NumLimit() > 0) {
            const long long count = m_pRotator->GetRotatableEvtCount();
            if (count < 0) {
                return -1;
            }
            m_surplus = std::max(count - m_pRotator->NumLimit(), 0LL);
        }
        Row last;
        last.stop = std::numeric_limits<long long>::min();
        for (bool isMore = true; isMore;) {
            std::vector<Row> page;
            if (LoadPage(last, page) != 0) {
                return -1;
            }
            isMore = page.size() == PAGE_ROWS;
            for (const Row& row : page) {
                const std::optional<STEP> step = StepOf(row);
                if (!step) {
                    return 0;
                }
                m_shares[*step].Add(row, m_listed);
                ++m_removed;
                last = row;
            }
        }
        return 0;
    }

    std::string LimitText(STEP step) const
    {
        switch (step) {
        case STEP_VOLUME:
            return m_volBound > 0 ? "before " + RotateTimeText(m_volBound) : "-";
        case STEP_DATE:
            return m_pRotator->DaysLimit() > 0 ? fmt::format("{} days", m_pRotator->DaysLimit()) : "-";
        case STEP_SIZE:
            return m_pRotator->SizeLimitMB() > 0
                       ? fmt::format("{} of {} MB", m_pRotator->TotalSizeMB(), m_pRotator->SizeLimitMB())
                       : "-";
        default:
            return m_pRotator->NumLimit() > 0 ? fmt::format("{} items", m_pRotator->NumLimit()) : "-";
        }
    }

    const Share& Of(STEP step) const { return m_shares[step]; }
    const RotateTarget& Target() const { return m_target; }
    const VxRotEvtBase& Rotator() const { return *m_pRotator; }

private:
    /// The step that removes a row, given what went before it.
    std::optional<STEP> StepOf(const Row& row)
    {
        if (m_volBound > 0 && row.stop < m_volBound) {
            return STEP_VOLUME;
        }
        if (m_dayBound > 0 && row.stop < m_dayBound) {
            return STEP_DATE;
        }
        if (m_pRotator->SizeLimitMB() > 0 && m_shares[STEP_SIZE].bytes < ExcessBytes()) {
            return STEP_SIZE;
        }
        if (m_removed < m_surplus) {
            return STEP_NUMBER;
        }
        return std::nullopt;
    }

    long long ExcessBytes() const
    {
        const auto before = static_cast<long long>(m_pRotator->TotalSizeMB()) -
                            m_shares[STEP_VOLUME].bytes / BYTES_OF_MB -
                            m_shares[STEP_DATE].bytes / BYTES_OF_MB;
        return std::max(before - m_pRotator->SizeLimitMB(), 0LL) * BYTES_OF_MB;
    }

    int LoadPage(const Row& last, std::vector<Row>& page) const
    {
        const std::string sql = fmt::format("SELECT id, start_time, stop_time, size, path FROM {} {} AND "
                                            "(stop_time, start_time, size, id) > ({}, {}, {}, {}) "
                                            "ORDER BY stop_time, start_time, size, id LIMIT {}",
                                            m_pRotator->GetTableName(), m_pRotator->GetSqlWhere(), last.stop,
                                            last.start, last.size, last.id, PAGE_ROWS);
        VxDB::Rows rows;
        if (VxDB::Executep(m_target.dbPath, sql, rows.Out()) != 0) {
            return -1;
        }
        page.resize(static_cast<std::size_t>(std::max(rows.Count(), 0)));
        unsigned int at = 0;
        for (Row& row : page) {
            if (!rows.Next(at)) {
                return -1;
            }
            row = {VxDB::FetchFieldAsNumber(rows.Get(), at, "id"),
                   VxDB::FetchFieldAsNumber(rows.Get(), at, "start_time"),
                   VxDB::FetchFieldAsNumber(rows.Get(), at, "stop_time"),
                   VxDB::FetchFieldAsNumber(rows.Get(), at, "size"),
                   std::string(VxDB::FetchFieldText(rows.Get(), at, "path"))};
        }
        return 0;
    }

    const RotateTarget& m_target;
    VxRotLogger m_logger;
    int m_listed;
    long m_volBound;
    long m_dayBound = 0;
    long long m_surplus = 0;
    long long m_removed = 0;
    std::array<Share, STEP_COUNT> m_shares;
    std::unique_ptr<VxRotEvtBase> m_pRotator;
};

Json::Value ShareJson(const Share& share)
{
    Json::Value json(Json::objectValue);
    json["count"] = Json::Int64{share.count};
    json["bytes"] = Json::Int64{share.bytes};
    json["from"] = Json::Int64{share.from};
    json["to"] = Json::Int64{share.to};
    for (const Row& row : share.oldest) {
        Json::Value& item = json["rows"].append(Json::Value(Json::objectValue));
        item["id"] = Json::Int64{row.id};
        item["start"] = Json::Int64{row.start};
        item["stop"] = Json::Int64{row.stop};
        item["size"] = Json::Int64{row.size};
        item["path"] = row.path;
    }
    return json;
}

Json::Value PlanJson(const Plan& plan)
{
    Json::Value json(Json::objectValue);
    const VxRotEvtBase& rotator = plan.Rotator();
    json["type"] = RotateTypeName(plan.Target().type);
    json["id"] = plan.Target().id;
    json["name"] = plan.Target().name;
    json["occupied_mb"] = Json::UInt64{rotator.TotalSizeMB()};
    json["days_limit"] = rotator.DaysLimit();
    json["size_limit_mb"] = rotator.SizeLimitMB();
    json["num_limit"] = rotator.NumLimit();
    for (int step = 0; step < STEP_COUNT; ++step) {
        json["removes"][STEP_NAMES[step]] = ShareJson(plan.Of(static_cast<STEP>(step)));
    }
    return json;
}

/// Adds what one device's alerts come to.
/// @return 0; -1 (logged)
int AddAlerts(const std::string& dbPath, const std::string& where, Share& share)
{
    VxDB::Rows rows;
    const std::string sql =
        fmt::format("SELECT COUNT(*) AS count, SUM(MAX(size, 0)) AS bytes, MIN(stop_time) AS oldest, "
                    "MAX(stop_time) AS newest FROM {} WHERE {}",
                    gszTableAlertEvent, where);
    if (VxDB::Executep(dbPath, sql, rows.Out()) != 0) {
        return -1;
    }
    unsigned int row = 0;
    const auto number = [&](const char* column) { return VxDB::FetchFieldAsNumber(rows.Get(), row, column); };
    if (!rows.Next(row) || number("count") == 0) {
        return 0;
    }
    share.from = share.count == 0 ? number("oldest") : std::min(share.from, number("oldest"));
    share.to = std::max(share.to, number("newest"));
    share.count += number("count");
    share.bytes += number("bytes");
    return 0;
}

/// What the later of two bounds, that of the volume and that of the days of alerts, would remove of all alerts.
/// @return 0; -1 (logged)
int PlanAlerts(long volBound, bool& isByDays, Share& share)
{
    AlertAdvSetting setting;
    std::map<int, std::list<int>> devices;
    if (setting.Load() != 0 || ListAlertDevices(devices) != 0) {
        return -1;
    }
    const long dayBound = setting.GetDaysLimit() > 0 ? GetBoundTimeOfDays(setting.GetDaysLimit()) : 0;
    const long bound = std::max(dayBound, volBound);
    const std::string dbPath = VxDB::GetDBPath(VxDB::DB_ALERT);
    isByDays = dayBound >= volBound;
    if (devices.empty() || bound <= 0 || CheckRecVolume(dbPath, nullptr) != REC_VOLUME::SAME) {
        return 0;
    }
    VxRotLogger logger(EVT_TYPE_ALERT);
    for (const auto& [type, ids] : devices) {
        const VxRotAlertEvt rotator(type, g_neverRun, setting, logger);
        for (const int id : ids) {
            if (AddAlerts(dbPath, rotator.GetWhereExpr(id, bound), share) != 0) {
                return -1;
            }
        }
    }
    return 0;
}

/// Megabytes for a cell. A row that claims less than nothing counts as nothing, and says so.
std::string SizeText(long long bytes)
{
    return bytes < 0 ? fmt::format("0.0, not {} bytes", bytes)
                     : fmt::format("{:.1f}", static_cast<double>(bytes) / BYTES_OF_MB);
}

void AddTableRows(const Plan& plan, Table& table)
{
    for (int i = 0; i < STEP_COUNT; ++i) {
        const auto step = static_cast<STEP>(i);
        const Share& share = plan.Of(step);
        const std::string limit = plan.LimitText(step);
        if (limit == "-") {
            continue;
        }
        table.AddRow({Printable(plan.Target().name), STEP_NAMES[i], limit, std::to_string(share.count),
                      SizeText(share.bytes), RotateTimeText(share.from), RotateTimeText(share.to)});
        for (const Row& row : share.oldest) {
            table.AddRow({"  " + Printable(row.path.empty() ? "event " + std::to_string(row.id) : row.path),
                          "", "", "", SizeText(row.size), RotateTimeText(row.start),
                          RotateTimeText(row.stop)});
        }
    }
}

/// What is shown of all.
struct Sheet {
    std::vector<VolumeNeed> needs;
    Json::Value json{Json::objectValue};
    Table table{{"TARGET", "BY", "LIMIT", ">COUNT", ">MB", "FROM", "TO"}};
    std::list<std::string> refused;
};

void Print(Sheet& sheet, bool asJson)
{
    sheet.json["refused"] = Json::Value(Json::arrayValue);
    for (const std::string& line : sheet.refused) {
        sheet.json["refused"].append(line);
    }
    if (asJson) {
        PrintJson(sheet.json);
        return;
    }
    for (const VolumeNeed& need : sheet.needs) {
        fmt::print("{}\n", VolumeText(need));
    }
    sheet.table.Print();
    for (const std::string& line : sheet.refused) {
        fmt::print("nothing of {}\n", Printable(line));
    }
}

void AddTargets(const std::list<RotateTarget>& targets, int rows, Sheet& sheet)
{
    sheet.json["targets"] = Json::Value(Json::arrayValue);
    for (const RotateTarget& target : targets) {
        std::string why;
        if (!IsVolumeOfTarget(target, why)) {
            if (!why.empty()) {
                sheet.refused.push_back(target.name + ": " + why);
            }
            continue;
        }
        Plan plan(target, VolumeBoundOf(target, sheet.needs), rows);
        if (plan.Make() != 0) {
            Fail(EXIT_UNREACHABLE, "rotate plan", "{}: cannot be read; vx log tail says why", target.dbPath);
        }
        sheet.json["targets"].append(PlanJson(plan));
        AddTableRows(plan, sheet.table);
    }
}

/// @return 0; -1: they cannot be read, which is told
int AddAlertRow(Sheet& sheet)
{
    bool isByDays = false;
    Share alerts;
    const int result = PlanAlerts(sheet.needs[0].boundTime, isByDays, alerts);
    if (result != 0) {
        sheet.refused.emplace_back("alerts: they cannot be read; vx log tail says why");
    }
    sheet.json["alerts"] = ShareJson(alerts);
    if (alerts.count > 0) {
        sheet.table.AddRow({"alerts", STEP_NAMES[isByDays ? STEP_DATE : STEP_VOLUME], "",
                            std::to_string(alerts.count), SizeText(alerts.bytes), RotateTimeText(alerts.from),
                            RotateTimeText(alerts.to)});
    }
    return result;
}

void Show(const Options& options)
{
    std::list<RotateTarget> targets;
    Sheet sheet;
    const int listed = ListRotateTargets(targets, sheet.refused);
    if (listed < 0) {
        Fail(EXIT_UNREACHABLE, "rotate plan", "{}: cameras and tasks cannot be read; vx log tail says why",
             VxDB::GetDBPath(VxDB::DB_SYSTEM));
    }
    if (ComputeVolumeNeeds(targets, options.reserveMB, sheet.needs) != 0) {
        Fail(EXIT_UNREACHABLE, "rotate plan", "the volume cannot be judged; vx log tail says why");
    }
    AddVolumesJson(sheet.needs, sheet.json);
    AddTargets(targets, options.rows, sheet);
    const int alerts = AddAlertRow(sheet);
    Print(sheet, options.json);
    if (listed != 0 || alerts != 0) {
        Fail(EXIT_UNREACHABLE, "rotate plan", "a database cannot be read; vx log tail says why");
    }
}

} // namespace

void AddRotatePlanVerb(CLI::App& rotate)
{
    const auto options = std::make_shared<Options>();
    CLI::App* const verb =
        rotate.add_subcommand("plan", "Show what each limit would remove of each target; touches nothing");
    verb->add_option("--reserve", options->reserveMB,
                     "Megabytes to be left free, instead of what is configured")
        ->check(FROM_ZERO);
    verb->add_option("--rows", options->rows, "Also list so many of the oldest of each limit")
        ->check(FROM_ZERO);
    verb->add_flag("--json", options->json, "Print JSON");
    verb->callback([options] { Show(*options); });
}
