// SPDX-License-Identifier: Apache-2.0
// bench/report/questions.cpp - one entry a question; see questions.h.
#include "report/questions.h"

namespace {

constexpr long long KIB = 1024;
constexpr long long MIB = 1024 * KIB;
const std::vector<std::string> RIVALS{"Iceoryx", "BoostQueue", "ZeroMq", "UnixSocket"};

Question FrameWrite()
{
    return {"FrameWrite",
            "What does writing a frame cost beyond copying its bytes?",
            "Floor: `memcpy` of the same bytes into the same ten warm slots, in the same order, at the same "
            "offset in the segment. Not timed: making the FIFO, the first two laps. No key frame is "
            "protected, so that both go round all ten slots.",
            "bytes",
            {"Floor", "Ours"},
            {},
            {{"Ours", 4 * KIB, TargetKind::DIFFERENCE, "Floor", 150},
             {"Ours", 64 * KIB, TargetKind::RATIO, "Floor", 1.10},
             {"Ours", 512 * KIB, TargetKind::RATIO, "Floor", 1.10},
             {"Ours", 3 * MIB, TargetKind::RATIO, "Floor", 1.0}}};
}

Question Stream()
{
    Question question{
        "Stream",
        "How fast do frames go from one process to another, every one delivered?",
        "ZeroMQ, with threads of its own, runs on any processor; the others keep to one each. The reader "
        "asks for lines 2 KiB ahead. On a virtual machine the host may move the two processors apart for "
        "seconds; everything here, the floor too, then takes up to four times as long, and the ± is wide: "
        "measure again (--again stream_bench). Time per frame. Floor: one copy into ten slots with two "
        "counters. One writer on the first processor, one reader on the second, both polling with a pause "
        "instruction, giving the processor away every 20 us for machines that are busy, where the contender "
        "can poll (the socket and ZeroMQ wait in the kernel, which is faster for them). Every contender "
        "starts from the same private source buffer, with a new stamp for each frame; every reader adds up "
        "all 64-bit words of the payload where it receives it, and checks the sequence and the sum. The FIFO "
        "never holds its writer back, so the benchmark does: at most eight frames ahead, by a counter "
        "outside the FIFO; ten slots. iceoryx: its own blocking policy, a queue of at most eight chunks and "
        "8 MiB. The others: eight messages. Runs end before frame IDs start again at 10,000, where a reader "
        "that lags misses one frame. The time of a run is the median of bursts of 8 to 100 frames that "
        "follow each other without a pause. Not timed: start, 40 frames of warm-up. At 3 MiB ours cannot "
        "reach iceoryx: its frames go round at least ten slots in turn, as all builds agreed, which are more "
        "than the caches hold beside the source, so each frame goes through memory (past the caches, which "
        "serves such a ring better than `memcpy` does: see Floor). iceoryx takes the chunk that came back "
        "last; its few chunks stay in the cache. Tried without a sure gain: wider stores, prefetching the "
        "source, a part of each frame through the cache, slots in huge pages.",
        "bytes",
        {"Floor", "Ours"},
        {},
        {}};
    for (const std::string& rival : RIVALS) {
        question.contenders.push_back(rival);
        for (const long long size : {4 * KIB, 64 * KIB, 512 * KIB, 3 * MIB}) {
            question.targets.push_back({"Ours", size, TargetKind::RATIO, rival, 1.0});
        }
    }
    return question;
}

Question Latency()
{
    Question question{"Latency",
                      "How long from publishing a frame to having it in the reader's hand?",
                      "Median and 99th percentile from just before the publishing call, so the writer's copy "
                      "is part of it, to the reader having looked at the stamp and the last byte. One frame "
                      "under way at a time, 3 microseconds between them.",
                      "bytes",
                      {"Floor", "Ours"},
                      {"p50_ns", "p99_ns"},
                      {}};
    for (const std::string& rival : RIVALS) {
        question.contenders.push_back(rival);
    }
    return question;
}

Question WriterCost()
{
    Question question{"WriterCost",
                      "Does the writer pay for its readers, alive, stopped or dead?",
                      "The writer's own processor time in one `WriteData` of 64 KiB (median frame), two "
                      "readings of the thread clock included, with so many reader processes. Floor: none. "
                      "The stopped and the dead ones all hold a claim when it happens. The writer has a "
                      "processor for itself; all readers share the other one and give their turn away when "
                      "there is no frame: with 64 of them the latency is that of sharing one processor.",
                      "readers",
                      {"Floor", "KeepingUp", "Stopped", "Dead"},
                      {"p99_ns", "lost", "jumps", "latency_p50_ns", "latency_p99_ns"},
                      {}};
    for (const char* const fate : {"KeepingUp", "Stopped", "Dead"}) {
        question.targets.push_back({fate, 64, TargetKind::RATIO, fate, 1.10, 1});
    }
    return question;
}

Question FirstLap()
{
    return {"FirstLap",
            "What does the first lap through fresh slots cost?",
            "Time per frame of the first ten frames in ten fresh slots; floor: the third lap. `create_ms` is "
            "the time to make the FIFO, which is where residence is paid for.",
            "bytes",
            {"Floor", "Cold", "Prefaulted"},
            {"create_ms"},
            {{"Prefaulted", 3 * MIB, TargetKind::RATIO, "Cold", 0.5}}};
}

Question LogSuppressed()
{
    return {"LogSuppressed",
            "What does a log line cost that nobody wants?",
            "A level-6 message of a category whose threshold is 3; the argument is the length of the pid "
            "list, with this process at its end. Floor: one relaxed load and a comparison. spdlog: switched "
            "off at run time by its level.",
            "pids",
            {"Floor", "Ours", "Spdlog"},
            {},
            {{"Ours", 0, TargetKind::ABSOLUTE, "", 1.5}, {"Ours", 0, TargetKind::RATIO, "Spdlog", 1.0}}};
}

Question LogEmitted()
{
    return {"LogEmitted",
            "What does a written log line cost?",
            "One line of the same fields into a file on the same file system. Floor: `snprintf` of 128 bytes "
            "and one `write(2)`. spdlog: thread-safe file sink, flushed at each line.",
            "bytes",
            {"Floor", "Ours", "Spdlog"},
            {},
            {{"Ours", 128, TargetKind::RATIO, "Spdlog", 1.0}}};
}

Question SqlInsert()
{
    return {"SqlInsert",
            "What does the text of an INSERT of 46 columns cost?",
            "25 integers, 3 booleans and 18 texts. fmt gets the whole statement as one format text, column "
            "names included, and does not quote; Fmt appends to a string, FmtBuffer to its own buffer, "
            "FmtCompiled has the format text at compile time. The texts are compared before.",
            "",
            {"Fmt", "FmtBuffer", "FmtCompiled", "Ours"},
            {},
            {{"Ours", 0, TargetKind::RATIO, "Fmt", 0.5}, {"Ours", 0, TargetKind::RATIO, "FmtCompiled", 1.5}}};
}

Question SqlSplice()
{
    return {"SqlSplice",
            "Does splicing depend on how much is spliced?",
            "An expression put together from so many others, moved into another one and back.",
            "parts",
            {"Ours"},
            {},
            {{"Ours", 4096, TargetKind::RATIO, "Ours", 1.25, 1}}};
}

Question SqlRows()
{
    return {"SqlRows",
            "What does reading 10,000 rows through the database layer cost over the database itself?",
            "Floor: `sqlite3_step` and the column functions on the same file into the same members. Ours: "
            "`VxDB::Execute` and `SqlConversion`. `memory/text`: bytes that the result holds over the bytes "
            "of its fields.",
            "columns",
            {"Floor", "Ours"},
            {"memory/text"},
            {{"Ours", 11, TargetKind::RATIO, "Floor", 1.3},
             {"Ours", 46, TargetKind::RATIO, "Floor", 1.3},
             {"Ours", 11, TargetKind::COUNTER, "memory/text", 1.5},
             {"Ours", 46, TargetKind::COUNTER, "memory/text", 1.5}}};
}

Question SqlEnum()
{
    return {
        "SqlEnum",
        "What does reading 10,000 rows into mapped records cost over the database itself?",
        "Floor: `sqlite3_step` and the column functions on the same file into the same records. Ours: "
        "`DBMapping::Enum`. 11 columns: the webhook record; 46 columns: 25 integers, 3 booleans, 18 texts.",
        "columns",
        {"Floor", "Ours"},
        {"memory_per_text"},
        {{"Ours", 11, TargetKind::RATIO, "Floor", 1.3},
         {"Ours", 46, TargetKind::RATIO, "Floor", 1.3},
         {"Ours", 11, TargetKind::COUNTER, "memory_per_text", 1.5},
         {"Ours", 46, TargetKind::COUNTER, "memory_per_text", 1.5}}};
}

Question SqlBatch()
{
    return {"SqlBatch",
            "What does a batch of 10,000 inserts cost over the database itself?",
            "The same statements in one transaction; floor: `sqlite3_exec`, with the same durability. Not "
            "timed: building the text.",
            "columns",
            {"Floor", "Ours"},
            {},
            {{"Ours", 11, TargetKind::RATIO, "Floor", 1.2}, {"Ours", 46, TargetKind::RATIO, "Floor", 1.2}}};
}

Question RotateMark()
{
    Question question{
        "RotateMark",
        "What does marking 200,000 events through a rotator cost over the bare batches?",
        "Floor: 200 times SELECT of the 1000 oldest events and UPDATE of those, on the same file with the "
        "same durability. Ours, by size and by time: a whole pass with counters, notes for clients, "
        "notifications, bookmarks and the users' log. `last/first`: medians of the last and the first ten "
        "batches. `peak_rss_mib`: of the whole process in the pass. Not timed: making the events.",
        "events",
        {"Floor", "BySize", "ByTime"},
        {"last/first", "peak_rss_mib"},
        {}};
    for (const long long events : {1'000'000LL, 10'000'000LL}) {
        question.targets.push_back({"BySize", events, TargetKind::RATIO, "Floor", 2.0});
        question.targets.push_back({"ByTime", events, TargetKind::RATIO, "Floor", 2.0});
        question.targets.push_back({"BySize", events, TargetKind::COUNTER, "last/first", 1.5});
        question.targets.push_back({"BySize", events, TargetKind::COUNTER, "peak_rss_mib", 64});
        question.targets.push_back({"ByTime", events, TargetKind::COUNTER, "peak_rss_mib", 64});
    }
    return question;
}

Question RotateSweep()
{
    return {"RotateSweep",
            "How fast are marked events deleted with their files, and who has to wait?",
            "10,000 events with a file of 4 KiB each, in lists of 1000. Floor: unlinking the files alone. "
            "`writer_p99_ms`: the time of a transaction of a second process's kind of writer beside the "
            "sweep, in ms.",
            "events",
            {"Floor", "Ours", "BesideAWriter"},
            {"writer_p99_ms"},
            {{"Ours", 10'000, TargetKind::ABSOLUTE, "", 1e9},
             {"BesideAWriter", 10'000, TargetKind::COUNTER, "writer_p99_ms", 20}}};
}

Question LogWrite()
{
    return {"LogWrite",
            "What does writing a million rows of the event log out cost?",
            "Sqlite3: `sqlite3 -html` writes the page alone, with the same statement. Ours: the page, every "
            "cell checked and escaped, and the text, block by block as the rotation writes them.",
            "",
            {"Sqlite3", "Ours"},
            {},
            {{"Ours", 0, TargetKind::RATIO, "Sqlite3", 1.0}}};
}

Question LogArchive()
{
    return {"LogArchive",
            "How much memory does archiving a million rows take?",
            "Page, text and the packed file, in a process of its own; `rss_mib`: its peak.",
            "",
            {"Ours"},
            {"rss_mib"},
            {{"Ours", 0, TargetKind::COUNTER, "rss_mib", 32}}};
}

Question LogPack()
{
    return {"LogPack",
            "What does packing a page and a text of a million rows cost?",
            "Libarchive: the same bytes at the same level into a file. Ours is on the medium when it has its "
            "name.",
            "",
            {"Libarchive", "Ours"},
            {},
            {{"Ours", 0, TargetKind::RATIO, "Libarchive", 1.1}}};
}

Question LogDelete()
{
    return {"LogDelete",
            "What does rotating 200,000 of 1,000,000 rows cost over the bare statements?",
            "Time bound and deletion. Statement: `DELETE` through the database's own calls. ByDays: the "
            "bound is a date. ByCount: the rows are counted and their texts measured first, to find it; "
            "Statements: the same three statements through the database's own calls.",
            "",
            {"Statement", "Statements", "ByDays", "ByCount"},
            {},
            {{"ByDays", 0, TargetKind::RATIO, "Statement", 1.2},
             {"ByCount", 0, TargetKind::RATIO, "Statements", 1.2}}};
}

Question RuleLoad()
{
    return {"RuleLoad",
            "What does listing 10,000 action rules with their events cost over the database itself?",
            "Floor: `sqlite3_step` and the column functions over both tables into plain structs of numbers "
            "and texts. Ours: `GetActRuleByFilter`: schedules, id lists and passwords read (every tenth rule "
            "has one), events attached, devices known.",
            "",
            {"Floor", "Ours"},
            {},
            {{"Ours", 0, TargetKind::RATIO, "Floor", 1.5}}};
}

/// The time for ten times as many rules is at most thirteen times as long.
Question RuleTenth(const char* name, const char* title, const char* note)
{
    return {name, title, note, "rules", {"Ours"}, {}, {{"Ours", 1000, TargetKind::RATIO, "Ours", 13, 100}}};
}

Question RuleVerdict()
{
    return {"RuleVerdict",
            "What does one verdict cost?",
            "A rule with one event, a schedule and a minimum interval, in a zone whose clocks change; it "
            "fires. Floor: `localtime_r` of the same instants.",
            "",
            {"Floor", "Ours"},
            {},
            {{"Ours", 0, TargetKind::ABSOLUTE, "", 200}}};
}

Question RuleJudgeAll()
{
    return {"RuleJudgeAll",
            "How long until every rule is judged for one report of a sensor?",
            "The report is applied to its camera, then all rules are judged.",
            "rules",
            {"Ours"},
            {},
            {{"Ours", 1000, TargetKind::ABSOLUTE, "", 1e6}}};
}

Question HistoryBatch()
{
    return {"HistoryBatch",
            "What does writing 1,000 lines of history cost over the bare statements?",
            "Floor: `sqlite3_exec` of the finished texts in one transaction, with the same durability. Ours: "
            "`WriteRuleHistory`, making the texts included.",
            "",
            {"Floor", "Ours"},
            {},
            {{"Ours", 0, TargetKind::RATIO, "Floor", 1.3}}};
}

Question HistoryPage()
{
    return {"HistoryPage",
            "What does a page of 50 lines cost out of a million?",
            "The argument is the number of newer lines, which the database steps over one by one. Floor: the "
            "same statement, prepared and stepped.",
            "offset",
            {"Floor", "Ours"},
            {},
            {{"Ours", 0, TargetKind::ABSOLUTE, "", 1e6}, {"Ours", 1000, TargetKind::ABSOLUTE, "", 1e6}}};
}

} // namespace

const std::vector<Question>& Questions()
{
    static const std::vector<Question> questions{
        FrameWrite(),
        Stream(),
        Latency(),
        WriterCost(),
        FirstLap(),
        LogSuppressed(),
        LogEmitted(),
        SqlInsert(),
        SqlSplice(),
        SqlRows(),
        SqlEnum(),
        SqlBatch(),
        RotateMark(),
        RotateSweep(),
        LogWrite(),
        LogArchive(),
        LogPack(),
        LogDelete(),
        RuleLoad(),
        RuleTenth("RuleCount", "Is counting linear in the rules that there are?",
                  "A tenth of them is counted."),
        RuleTenth("RuleFilter", "Is filtering linear in the rules that there are?",
                  "A tenth of them is listed with its events."),
        RuleTenth("RuleDelete", "Is deleting linear in the rules that go?",
                  "A tenth of them goes with events, groups, ports and user log; then it is rolled back."),
        RuleVerdict(),
        RuleJudgeAll(),
        HistoryBatch(),
        HistoryPage()};
    return questions;
}
