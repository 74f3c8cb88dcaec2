// SPDX-License-Identifier: Apache-2.0
// tools/demo_report.cpp - joins the traces of one demo run: what was read against what was written. Not
// installed.
#include <fmt/format.h>
#include <json/json.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "exit_code.h"
#include "nouns.h"
#include "table.h"

namespace {

constexpr int ID_CNT = 10001; ///< frame IDs run 0..10000

/// One line of a trace.
struct Line {
    int key = 0;
    int id = 0;
    long long timestampUs = 0;
    unsigned long long size = 0;
    std::string hash;
    long long ns = 0;
};

using Trace = std::vector<Line>;
/// A frame is known by key, ID and timestamp: IDs come again after 10000.
using FrameKey = std::tuple<int, int, long long>;

Trace ReadTrace(const std::string& path)
{
    std::ifstream in(path);
    if (!in) {
        throw std::runtime_error(path + ": cannot be read");
    }
    Trace trace;
    std::string text;
    while (std::getline(in, text)) {
        std::istringstream fields(text);
        Line line;
        std::string flags;
        if (fields >> line.key >> line.id >> line.timestampUs >> line.size >> flags >> line.hash >> line.ns) {
            trace.push_back(line);
        }
    }
    return trace;
}

/// What one process did with one FIFO.
struct Row {
    std::string name;
    long long frames = 0;
    long long lost = 0;
    long long jumps = 0;
    long long torn = 0; ///< frames whose bytes are not those that were written
    unsigned long long bytes = 0;
    std::vector<double> latencyUs;
};

/// @return the value below which `part` of them lie.
double Percentile(std::vector<double> values, double part)
{
    std::sort(values.begin(), values.end());
    const double position = part * static_cast<double>(values.size() - 1);
    return values[static_cast<std::size_t>(position + 0.5)];
}

Row RowOf(const std::string& name, const Trace& trace, int key,
          const std::map<FrameKey, const Line*>* pWritten)
{
    Row row;
    row.name = name;
    int previous = -1;
    const long long firstNs = trace.empty() ? 0 : trace.front().ns;
    for (const Line& line : trace) {
        if (line.key != key) {
            continue;
        }
        ++row.frames;
        row.bytes += line.size;
        const int lost = previous < 0 ? 0 : ((line.id - previous - 1) % ID_CNT + ID_CNT) % ID_CNT;
        row.lost += lost;
        row.jumps += lost > 0 ? 1 : 0;
        previous = line.id;
        if (pWritten == nullptr) {
            continue;
        }
        const auto found = pWritten->find({line.key, line.id, line.timestampUs});
        if (found == pWritten->end() || found->second->hash != line.hash) {
            ++row.torn;
            continue;
        }
        if (found->second->ns < firstNs) {
            continue; // was there before this reader: its age is no delay
        }
        row.latencyUs.push_back(static_cast<double>(line.ns - found->second->ns) / 1000.0);
    }
    return row;
}

void AddRow(Table& table, const Row& row)
{
    const auto time = [&row](double part) {
        return row.latencyUs.empty() ? std::string("-")
                                     : fmt::format("{:.0f} us", Percentile(row.latencyUs, part));
    };
    table.AddRow({row.name, std::to_string(row.frames), std::to_string(row.lost), std::to_string(row.jumps),
                  std::to_string(row.bytes), time(0.50), time(0.99)});
}

/// Size and hash of each packet in a file that ffmpeg's framehash writer made.
std::vector<std::string> ReadPackets(const std::string& path)
{
    std::ifstream in(path);
    if (!in) {
        throw std::runtime_error(path + ": cannot be read");
    }
    std::vector<std::string> packets;
    std::string text;
    while (std::getline(in, text)) {
        if (text.empty() || text.front() == '#') {
            continue;
        }
        std::istringstream fields(text); // stream, dts, pts, duration, size, hash
        std::vector<std::string> values;
        std::string value;
        while (std::getline(fields, value, ',')) {
            values.push_back(value.substr(std::min(value.size(), value.find_first_not_of(' '))));
        }
        if (values.size() >= 6) {
            packets.push_back(values[4] + " " + values[5]);
        }
    }
    return packets;
}

struct Options {
    std::string written;
    std::vector<std::string> readers; ///< NAME=FILE
    std::vector<std::string> streams; ///< NAME=KEY
    std::string recorder;             ///< name of the reader that must have everything
    std::string late;                 ///< file of the late joiner's events
    std::string frozen;               ///< file of the frozen reader's events
    std::vector<std::string> packets; ///< NAME=SOURCE,RECORDED
};

std::pair<std::string, std::string> Split(const std::string& text, char at)
{
    const std::size_t position = text.find(at);
    if (position == std::string::npos) {
        throw std::runtime_error(text + ": needs a " + at);
    }
    return {text.substr(0, position), text.substr(position + 1)};
}

class Report {
public:
    explicit Report(const Options& options) : m_options(options), m_written(ReadTrace(options.written))
    {
        for (const Line& line : m_written) {
            m_byFrame[{line.key, line.id, line.timestampUs}] = &line;
        }
    }

    /// @return whether everything is as it must be.
    bool Run()
    {
        PrintTable();
        if (!m_options.late.empty()) {
            CheckLate();
        }
        if (!m_options.frozen.empty()) {
            CheckFrozen();
        }
        for (const std::string& packets : m_options.packets) {
            ComparePackets(packets);
        }
        return m_good;
    }

private:
    void Say(bool good, const std::string& text)
    {
        m_good = m_good && good;
        fmt::print("{}  {}\n", good ? "ok  " : "FAIL", text);
    }

    void PrintTable()
    {
        Table table({"PROCESS", ">FRAMES", ">LOST", ">JUMPS", ">BYTES", ">P50", ">P99"});
        std::vector<std::pair<bool, std::string>> findings;
        for (const std::string& stream : m_options.streams) {
            const auto [name, keyText] = Split(stream, '=');
            const int key = std::stoi(keyText);
            const Row written = RowOf("capture, " + name, m_written, key, nullptr);
            AddRow(table, written);
            for (const std::string& reader : m_options.readers) {
                const auto [readerName, path] = Split(reader, '=');
                const Row row = RowOf(readerName + ", " + name, ReadTrace(path), key, &m_byFrame);
                if (row.frames == 0 && readerName != m_options.recorder) {
                    continue; // does not read this stream
                }
                AddRow(table, row);
                Judge(row, written, readerName == m_options.recorder, findings);
            }
        }
        table.Print();
        std::puts("");
        for (const auto& [good, text] : findings) {
            Say(good, text);
        }
    }

    static void Judge(const Row& row, const Row& written, bool needsAll,
                      std::vector<std::pair<bool, std::string>>& out)
    {
        if (needsAll) {
            const bool same =
                written.frames > 0 && row.frames == written.frames && row.torn == 0 && row.lost == 0;
            out.emplace_back(same, fmt::format("{}: {} of {} written frames, {} of them with other bytes: {}",
                                               row.name, row.frames, written.frames, row.torn,
                                               same ? "identical" : "different"));
        } else {
            out.emplace_back(row.torn == 0,
                             fmt::format("{}: {} frames, {} of them with other bytes than were written",
                                         row.name, row.frames, row.torn));
        }
    }

    /// The objects of an events file whose "event" is `name`.
    static std::vector<Json::Value> Events(const std::string& path, const std::string& name)
    {
        std::ifstream in(path);
        std::vector<Json::Value> events;
        std::string text;
        while (std::getline(in, text)) {
            std::istringstream one(text);
            Json::Value value;
            std::string problem;
            if (Json::parseFromStream(Json::CharReaderBuilder(), one, &value, &problem) && value.isObject() &&
                value["event"].asString() == name) {
                events.push_back(value);
            }
        }
        return events;
    }

    void CheckLate()
    {
        constexpr double LIMIT_MS = 50.0;
        const std::vector<Json::Value> ends = Events(m_options.late, "end");
        if (ends.empty() || ends[0]["frames"].asInt() == 0) {
            Say(false, "late joiner: got no frame");
            return;
        }
        const double ms = ends[0]["firstFrameMs"].asDouble();
        const bool key = ends[0]["firstIsKey"].asBool();
        Say(key && ms <= LIMIT_MS,
            fmt::format("late joiner: first frame {:.3f} ms after attaching, {} (at most {} ms)", ms,
                        key ? "a key frame" : "not a key frame", LIMIT_MS));
    }

    void CheckFrozen()
    {
        const std::vector<Json::Value> jumps = Events(m_options.frozen, "jump");
        const std::vector<Json::Value> ends = Events(m_options.frozen, "end");
        const bool good = !jumps.empty() && !ends.empty();
        std::string text = "frozen reader: ";
        for (const Json::Value& jump : jumps) {
            text += fmt::format("jumped from frame {} to {} ({} lost), ", jump["from"].asInt(),
                                jump["to"].asInt(), jump["lost"].asInt());
        }
        Say(good, text + (good ? fmt::format("went on to {} frames", ends[0]["frames"].asInt())
                               : std::string("did not jump and go on")));
    }

    void ComparePackets(const std::string& option)
    {
        const auto [name, files] = Split(option, '=');
        const auto [sourcePath, recordedPath] = Split(files, ',');
        const std::vector<std::string> source = ReadPackets(sourcePath);
        const std::vector<std::string> recorded = ReadPackets(recordedPath);
        const auto [inSource, inRecorded] =
            std::mismatch(source.begin(), source.end(), recorded.begin(), recorded.end());
        const bool same = !source.empty() && inSource == source.end() && inRecorded == recorded.end();
        Say(same,
            same ? fmt::format("recording against source, {}: {} packets, identical", name, source.size())
                 : fmt::format(
                       "recording against source, {}: {} packets against {}, different from packet {} on",
                       name, recorded.size(), source.size(), inSource - source.begin()));
    }

    const Options& m_options;
    const Trace m_written;
    std::map<FrameKey, const Line*> m_byFrame;
    bool m_good = true;
};

} // namespace

int main(int argc, char** argv)
try {
    CLI::App app{"Joins the traces of one demo run and judges it"};
    Options options;
    app.add_option("--written", options.written, "Trace of the capture process")->required();
    app.add_option("--stream", options.streams, "NAME=KEY of each stream")->required();
    app.add_option("--reader", options.readers, "NAME=TRACE of each reader");
    app.add_option("--recorder", options.recorder, "Name of the reader that must have every frame");
    app.add_option("--late", options.late, "Events of the late joiner");
    app.add_option("--frozen", options.frozen, "Events of the frozen reader");
    app.add_option("--packets", options.packets, "NAME=SOURCE,RECORDED: packet hashes that must be equal");
    CLI11_PARSE(app, argc, argv);
    return Report(options).Run() ? EXIT_DONE : EXIT_FOUND;
} catch (const std::exception& error) {
    std::fprintf(stderr, "demo_report: %s\n", error.what());
    return EXIT_FOUND;
}
