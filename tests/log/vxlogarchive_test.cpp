// SPDX-License-Identifier: Apache-2.0
// tests/log/vxlogarchive_test.cpp - archives of the event log and the system log, read back by other programs.
#include "vxlogarchive.h"

#include <fstream>
#include <functional>

#include "htmlescape.h"
#include "log_fixture.h"
#include "package/spreadsheet.h"
#include "vxloglist.h"
#include "vxlogrotate.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* BROWSER = "/usr/bin/chromium";
constexpr int BROWSER_MAX_SEC = 400; ///< for a page of a million rows; a quiet machine needs a tenth

class LogArchiveTest : public LogFixture {
protected:
    void SetUp() override
    {
        ASSERT_EQ(
            VxDB::Execute(VxDB::DB_SYSTEM, "INSERT INTO recording_server (id, name) VALUES (1, 'Annexe');"),
            0);
    }

    /// Rotates a log of which everything is old, and has other programs compare archive and rows.
    void RotateAndCheck(VX_ROTATED_LOG log, const std::function<int()>& rotate,
                        const std::string& options = "")
    {
        const std::string copy = (m_root.Path() / "copy.db").string();
        ExecuteOnLogs("VACUUM INTO '" + copy + "';");
        Keep(log, Settings(1));
        ASSERT_EQ(rotate(), 0) << m_log.TakeText();
        const std::vector<std::string> names = NamesIn(ArchiveDir());
        ASSERT_EQ(names.size(), 2U) << "a lock and an archive";
        const std::string kind = log == VX_ROTATED_LOG_EVENT ? "event" : "system";
        const std::string tgz = ArchiveDir() + "/" + names.back();
        const std::string check =
            "/usr/bin/python3 " CHECK_ARCHIVE " " + kind + " " + tgz + " " + copy + " " + options + " >&2";
        EXPECT_EQ(std::system(check.c_str()), 0) << check;
        if (fs::exists(BROWSER)) { // of those packages that only script/bootstrap --all installs
            const std::string open = "/usr/bin/python3 " CHECK_BROWSER " " + kind + " " + BROWSER + " " +
                                     tgz + " " + copy + " " + std::to_string(BROWSER_MAX_SEC) + " >&2";
            EXPECT_EQ(std::system(open.c_str()), 0) << open;
        }
    }
};

/// Texts that break what is careless: a value each, as SQL.
constexpr const char* ODD_TEXTS[] = {
    "'plain'",
    "''",
    "'<script>alert(1)</script></td></table></html>'",
    "'\"a\" & ''b'' &amp; &#39; <!-- x'",
    "'tab' || char(9) || 'line' || char(10) || 'return' || char(13) || 'end'",
    "'\\n is not a line feed, \\\\ are two, \\x41 is no A'",
    "'=1+1'",
    "'_x0041_ is not A'",
    "' spaces '",
    "'Grüße, 世界, \xF0\x9F\x93\xB7'",
    "char(1,2,8,11,12,27,31,127)",
    "char(128,133,159,64976,65534,131070)",
    "CAST(x'41C32842' AS TEXT)",
    "CAST(x'80BFC0AFF5FF' AS TEXT)",
    "CAST(x'EDA080EDBFBF' AS TEXT)",
    "CAST(x'F09F93' AS TEXT)",
    "replace(hex(zeroblob(60000)), '00', 'long ')",
    "replace(hex(zeroblob(120000)), '00', '<\"\"&''''>')",
};

} // namespace

// Catches: a cell that leaves its place on the page, a page that is not valid, a line that is two, a character
// that changes on the way, rows in the archive that are not those which were deleted.
TEST_F(LogArchiveTest, OtherProgramsReadTheRowsThatWereDeleted)
{
    int i = 0;
    for (const char* const text : ODD_TEXTS) {
        const std::string number = std::to_string(++i);
        ExecuteOnLogs("INSERT INTO log_event (timestamp, category, server_id, name, description) VALUES (" +
                      number + ", " + std::to_string(i % 4) + ", " + std::to_string(i % 3) + ", " + text +
                      ", 'name'), (" + number + ", 0, 0, 'text', " + text + ");");
    }
    RotateAndCheck(VX_ROTATED_LOG_EVENT, [] { return VxLogEventRotater().Run(); });
    EXPECT_EQ(VxLogEvent::GetLogTotalCount(), 0);
    EXPECT_EQ(NamesIn(ArchiveDir()),
              (std::vector<std::string>{".vigeventlog.lock", "vigeventlog_20270115_080000.tgz"}));
}

// Catches: the same in the system log with its spreadsheet; a rotation that no entry tells of.
TEST_F(LogArchiveTest, SystemLogHasASpreadsheetAsWell)
{
    for (const char* const text : ODD_TEXTS) {
        // Arguments are JSON, which broken bytes are no part of; the user is any text.
        ExecuteOnLogs(
            std::string("INSERT INTO log (timestamp, log_id, level, user, args) VALUES (5, 0x133000ff, 2, ") +
            text + ", json_array('note')), (6, 0x133000ff, 9, 'user', json_array(iif(length(" + text +
            ") > 60000, 'long', 'x' || 'y')));");
    }
    RotateAndCheck(VX_ROTATED_LOG_SYSTEM, [] { return VxLogRotater().Run(); });
    EXPECT_EQ(ExecuteOnLogs("SELECT log_id || args FROM log"),
              std::to_string(0x133000c8) + R"(["system log","2027/01/14 08:00:00"])");
}

// Catches: rows of I/O modules that go without an archive, or with half of their text.
TEST_F(LogArchiveTest, IOModulesAreArchivedAsEvents)
{
    ExecuteOnLogs("INSERT INTO iomodule_log (iomodule_id, timestamp, event, description) VALUES (7, 2, "
                  "'Door', 'open'), "
                  "(8, 1, 'Alarm', ''), (7, 3, '', 'shut'), (7, 1799999999, 'Door', 'young');");
    Keep(VX_ROTATED_LOG_IO_MODULE, Settings(1));
    ASSERT_EQ(VxIOModuleLogRotater().Run(), 0) << m_log.TakeText();
    std::vector<std::string> texts;
    for (const std::string& line : LinesOfArchive(ArchiveDir() + "/vigiomodulelog_20270115_080000.tgz")) {
        texts.push_back(line.substr(line.find('\t')));
    }
    EXPECT_EQ(texts, (std::vector<std::string>{"\tI/O module   \tLocal host   \t8: Alarm",
                                               "\tI/O module   \tLocal host   \t7: Door: open",
                                               "\tI/O module   \tLocal host   \t7: shut"}));
    EXPECT_EQ(ExecuteOnLogs("SELECT group_concat(description) FROM iomodule_log"), "young");
    EXPECT_EQ(VxIOModuleLogRotater().Run(), 0);
    m_log.Expect({"No I/O module logs to archive.\n"}, "log/vxlogrotate");
}

// Catches: a sheet that loses the rows behind its end, and a text that no cell takes.
TEST_F(LogArchiveTest, SpreadsheetGoesOnWhereASheetOrACellIsFull)
{
    const std::string path = (m_root.Path() / "sheet.xlsx").string();
    const std::string heading[] = {"Text"};
    SpreadsheetWriter sheet;
    ASSERT_EQ(sheet.Open(path, heading, 3), 0);
    for (const std::string& text : {std::string("one"), std::string(32767, 'a'), std::string(32768, 'b'),
                                    std::string(40000, 'c'), std::string("five")}) {
        ASSERT_EQ(sheet.AddRow({&text, 1}), 0);
    }
    ASSERT_EQ(sheet.Close(), 0);
    const std::string check =
        "/usr/bin/python3 -c 'import openpyxl,sys;b=openpyxl.load_workbook(sys.argv[1]);"
        "print([[(c or \"\")[:1]+str(len(c)) for (c,) in "
        "s.iter_rows(values_only=True)] for s in b.worksheets])' " +
        path + " > " + path + ".out";
    ASSERT_EQ(std::system(check.c_str()), 0);
    std::ifstream out(path + ".out");
    std::string line;
    std::getline(out, line);
    EXPECT_EQ(line, "[['T4', 'o3', 'a32767'], ['T4', 'b32767', 'c32767'], ['T4', 'f4']]");
    EXPECT_EQ(sheet.Open("/nowhere/sheet.xlsx", heading), -1);
    EXPECT_EQ(sheet.AddRow(heading), -1);
    EXPECT_EQ(sheet.Close(), -1);
}

// Catches: an archive that takes the place of another one of the same second, an empty log that leaves a file.
TEST_F(LogArchiveTest, EveryArchiveHasItsOwnName)
{
    Keep(VX_ROTATED_LOG_EVENT, Settings(1));
    VxLogEventRotater rotater;
    ASSERT_EQ(rotater.LoadSettings(), 0);
    EXPECT_EQ(rotater.Run(), 0);
    m_log.Expect({"Archive: Start to archive [event log] with time upper bound [" +
                  std::to_string(NOW - 86400) + "].\n"},
                 "log/vxlogrotate");
    EXPECT_EQ(NamesIn(ArchiveDir()).size(), 0U);
    const std::string prefix = ArchiveDir() + "/vigeventlog_20270115_08000";
    for (const char* const text : {"0", "1", "2"}) {
        FillLog("log_event", 1, ",description", std::string(",'text ") + text + "'");
        ASSERT_EQ(rotater.Run(), 0);
        EXPECT_TRUE(LinesOfArchive(prefix + text + ".tgz").front().ends_with(std::string("text ") + text));
    }
    EXPECT_EQ(ExecHelperdApi::Tar(prefix + "0.tgz", {m_root.Path() / "db" / "log.db"}), -1) << "taken";
    EXPECT_EQ(GenArchFilename("/a", NOW, "viglog", "tgz"), "/a/viglog_20270115_080000.tgz");
}

// Catches: a filter that selects the wrong side, or a row twice; an entry whose message nobody knows.
TEST_F(LogArchiveTest, ListsHoldWhatTheirFilterSays)
{
    FillLog("log", 20000, ",log_id,user,level,args",
            ",0x1330009e,'u' || (i % 2),1 + i % 3,json_array('ann',i,'Gate')");
    ExecuteOnLogs("INSERT INTO log (timestamp, log_id, args) VALUES (0, 7, 'no json');");
    LangStrings strings;
    ASSERT_EQ(GetLangStrings("enu", strings), 0);
    const auto texts = [&strings](const LogFilterParam& filter) {
        std::vector<std::string> list;
        EXPECT_EQ(GetLogList(filter,
                             [&](std::span<const VxLogEntry> entries) {
                                 for (const VxLogEntry& entry : entries) {
                                     list.push_back(std::to_string(entry.timestamp) + " " +
                                                    entry.Text(strings));
                                 }
                                 return 0;
                             }),
                  0);
        return list;
    };
    using Texts = std::vector<std::string>;
    LogFilterParam filter;
    EXPECT_EQ(texts(filter).size(), 20001U);
    filter.limit = 2;
    EXPECT_EQ(texts(filter), (Texts{"0 00000007 no json", "1 ann deleted rule 1 [Gate]"}));
    filter.limit = filter.offset = 1;
    EXPECT_EQ(texts(filter), (Texts{"1 ann deleted rule 1 [Gate]"}));
    filter = LogFilterParam();
    filter.from = 10;
    filter.before = 16;
    filter.level = 1;
    EXPECT_EQ(texts(filter), (Texts{"12 ann deleted rule 12 [Gate]", "15 ann deleted rule 15 [Gate]"}));
    filter.user = "u0";
    EXPECT_EQ(texts(filter).size(), 1U);
    filter = LogFilterParam();
    filter.keyword = "GATE'%";
    EXPECT_EQ(texts(filter).size(), 0U);
    EXPECT_EQ(GetLogList(LogFilterParam(), [](std::span<const VxLogEntry>) { return -1; }), -1);
}

// Catches: a translation that hides the English text of what it lacks, or is trusted blindly.
TEST_F(LogArchiveTest, TextsFallBackToEnglish)
{
    LangStrings strings;
    fs::create_directories(m_root.Path() / "etc" / "texts");
    std::ofstream(m_root.Path() / "etc" / "texts" / "ger.txt")
        << "\xEF\xBB\xBF# Deutsch\r\n[vx_common]\r\ncategory = Kategorie\r\nbroken line\n= "
           "nothing\n[other]\nx = a = b\n";
    EXPECT_EQ(GetLangStrings("ger", strings), 0);
    EXPECT_EQ(strings.Get("vx_common", "category"), "Kategorie");
    EXPECT_EQ(strings.Get("vx_common", "common_name"), "Name");
    EXPECT_EQ(strings.Get("other", "x"), "a = b");
    EXPECT_EQ(strings.Get("other", "none"), "none");
    m_log.Expect({"2 broken lines in the texts of language [ger].\n"});
    for (const char* const name : {"fra", "../ger", ""}) {
        EXPECT_EQ(GetLangStrings(name, strings), -1) << name;
        EXPECT_EQ(strings.Get("vx_log", "log_time"), "Time") << name;
    }
}

// The main job in its full size: what the time allows only where VX_LONG is set.
// Catches: memory or a format that gives way somewhere between a few rows and many, a page that no browser opens.
TEST_F(LogArchiveTest, AMillionRowsAreArchived)
{
    const char* const isLong = std::getenv("VX_LONG");
    const int count = isLong != nullptr ? 1'000'000 : 5000;
    FillLog("log_event", count, ",category,server_id,name,description",
            ",i % 3,i % 3,'Camera ' || (i % 50),'Connection <' || i || '> was lost & found'");
    RotateAndCheck(
        VX_ROTATED_LOG_EVENT,
        [] {
#ifdef VX_PROGRAM
            return std::system(VX_PROGRAM " log rotate event --once >&2");
#else
            return VxLogEventRotater().Run();
#endif
        },
        "--fast");
}
