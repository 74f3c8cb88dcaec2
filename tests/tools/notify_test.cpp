// SPDX-License-Identifier: Apache-2.0
// tests/tools/notify_test.cpp - a previewed mail, read by two programs that know nothing of ours.
#include <fstream>
#include <sstream>

#include "support/temp_root.h"
#include "vx_process.h"

namespace {

using Args = std::vector<std::string>;

class NotifyPreviewTest : public ::testing::Test {
protected:
    std::string Path(const char* name) const { return (m_root.Path() / name).string(); }

    void WriteFile(const char* name, const std::string& bytes) const
    {
        std::ofstream(Path(name), std::ios::binary) << bytes;
    }

    VxResult Preview(const Args& more, int exitCode = 0, const std::string& says = "") const
    {
        Args args{"notify", "preview", "--out", Path("mail.eml")};
        args.insert(args.end(), more.begin(), more.end());
        return ExpectVx(args, exitCode, says);
    }

    /// What Python's reader makes of the mail. Null when it does not like it.
    Json::Value Read() const
    {
        const std::string command =
            "python3 " VX_READ_MAIL " '" + Path("mail.eml") + "' >'" + Path("read.json") + "'";
        std::ostringstream text;
        Json::Value json;
        if (std::system(command.c_str()) == 0) {
            text << std::ifstream(Path("read.json")).rdbuf();
            json = ParseJson(text.str());
            EXPECT_EQ(json["problems"].size(), 0u) << json["problems"];
        }
        return json;
    }

    TempRoot m_root;
};

std::string AllBytes()
{
    std::string bytes = "\r\n.\r\n--=_vx_related--\r\n";
    for (int i = 0; i < 1000; ++i) {
        bytes += static_cast<char>(i * 7);
    }
    return bytes;
}

std::string Hex(const std::string& bytes)
{
    static constexpr char DIGITS[] = "0123456789abcdef";
    std::string hex;
    for (const char c : bytes) {
        hex += DIGITS[static_cast<unsigned char>(c) >> 4];
        hex += DIGITS[static_cast<unsigned char>(c) & 15];
    }
    return hex;
}

// Catches: a picture that is attached instead of shown, a content id that leads nowhere, changed bytes or texts.
TEST_F(NotifyPreviewTest, PictureIsShownWhereTheTextSaysIt)
{
    WriteFile("a.JPG", AllBytes());
    const std::string text = "Motion: door <1> & \"gate\"  \nsecond = line\t\n.\nFrom here\n\n\xc3\xa4 end";
    const std::string subject = "Bewegung am Tor \xe2\x80\x93 " + std::string(90, 'x') +
                                "\xf0\x9f\x9a\xaa \r\nBcc: you@there.invalid";
    Preview({"--text", text, "--picture", Path("a.JPG"), "--type", "7", "--subject", subject, "--to",
             "J\xc3\xbcrgen \"J\" O'Neill, <j.o@example.net>", "--to", "plain@example.net", "--to",
             std::string(42, '\\') + " <back@example.net>", "--from",
             "Recorder (1), \"A\\B\" <r@example.net>", "--date", "1795244400"});
    const Json::Value mail = Read();
    ASSERT_TRUE(mail.isObject());
    EXPECT_EQ(mail["tree"], ParseJson(R"(["multipart/alternative", "text/plain", "multipart/related",
                                         "text/html", "image/jpeg"])"));
    EXPECT_EQ(mail["text"].asString(), text + "\n");
    EXPECT_EQ(mail["unresolved"].size(), 0u);
    EXPECT_EQ(mail["inline"][0].asString(), "inline");
    EXPECT_EQ(mail["bytes"][0].asString(), Hex(AllBytes()));
    EXPECT_NE(mail["html"].asString().find("door &lt;1&gt; &amp; &quot;gate&quot;  <br>second"),
              std::string::npos);
    EXPECT_EQ(mail["subject"].asString(), "Bewegung am Tor \xe2\x80\x93 " + std::string(90, 'x') +
                                              "\xf0\x9f\x9a\xaa   Bcc: you@there.invalid");
    EXPECT_EQ(mail["to"][0][0].asString(), "J\xc3\xbcrgen \"J\" O'Neill,");
    EXPECT_EQ(mail["to"][1][1].asString(), "plain@example.net");
    EXPECT_EQ(mail["to"][2][0].asString(), std::string(42, '\\')) << "in lines that are not too long";
    EXPECT_EQ(mail["from"].asString(), "Recorder (1), \"A\\B\"");
    EXPECT_EQ(mail["date"].asInt64(), 1795244400);
}

// Catches: a second reader that sees other parts than the first.
TEST_F(NotifyPreviewTest, AnotherReaderFindsTheSameFiles)
{
    if (std::system("command -v munpack >/dev/null") != 0) {
        GTEST_SKIP() << "munpack (package mpack) is not installed";
    }
    WriteFile("clip.mp4", AllBytes());
    Preview({"--text", "one\ntwo", "--picture", Path("clip.mp4")});
    EXPECT_NE(Read()["html"].asString().find("<video src=\"cid:snapshot@vx.invalid\""), std::string::npos);
    std::filesystem::create_directory(Path("parts"));
    ASSERT_EQ(std::system(
                  ("munpack -q -t -C '" + Path("parts") + "' '" + Path("mail.eml") + "' >/dev/null").c_str()),
              0);
    std::ostringstream clip;
    clip << std::ifstream(Path("parts/snapshot.mp4"), std::ios::binary).rdbuf();
    EXPECT_EQ(clip.str(), AllBytes());
}

// Catches: a long text that takes the picture's element with it, or a message with half a character.
TEST_F(NotifyPreviewTest, LongTextIsShortenedAndKeepsItsPicture)
{
    WriteFile("a.png", "png");
    const std::string element =
        "<img src=\"cid:snapshot@vx.invalid\" style=\"max-width:100%; margin:3px 0;\">\n";
    const std::size_t room = 4095 - 2 - element.size();
    for (const std::size_t count : {room / 2 - 1, room / 2, room / 2 + 1, room / 2 + 2, room}) {
        std::string text;
        for (std::size_t i = 0; i < count; ++i) {
            text += "\xc3\xa4";
        }
        const VxResult result = Preview({"--text", text, "--picture", Path("a.png")});
        const std::string html = Read()["html"].asString();
        const bool isCut = text.size() > room;
        EXPECT_NE(html.find(element), std::string::npos) << count;
        EXPECT_EQ(html.find("\xef\xbf\xbd"), std::string::npos) << "half a character at " << count;
        EXPECT_EQ(html.find("\xe2\x80\xa6") != std::string::npos, isCut) << count;
        EXPECT_EQ(!result.err.empty(), isCut) << count;
    }
}

// Catches: broken bytes that reach the mail, a missing picture that nobody is told of, a refusal without a reason.
TEST_F(NotifyPreviewTest, OddInputIsMendedOrRefused)
{
    WriteFile("text", std::string("a\xff\xc3(\xed\xa0\x80 b\0c\r\n", 13));
    WriteFile("empty.png", "");
    Preview({"--text-file", Path("text"), "--type", "13", "--subject", "\xff =?x?="}, 0,
            "type 13 carries a snapshot");
    const Json::Value mail = Read();
    const std::string bad = "\xef\xbf\xbd";
    EXPECT_EQ(mail["text"].asString(), "a" + bad + bad + "(" + bad + bad + bad + " bc\n");
    EXPECT_EQ(mail["subject"].asString(), bad + " =?x?=");
    EXPECT_EQ(mail["tree"].size(), 3u);

    for (const VxUse& use :
         std::vector<VxUse>{{{"--picture", Path("nothing.jpg"), "--text", "a"}, 3, "cannot be read"},
                            {{"--picture", Path("text"), "--text", "a"}, 2, "expected a picture"},
                            {{"--picture", Path("empty.png"), "--text", "a"}, 1, "is empty"},
                            {{"--picture", Path("empty.png"), "--cid", "a\"b@c"}, 2, "content id"},
                            {{"--to", "a@b>\r\nBcc: <c@d", "--text", "a"}, 2, "expected user@domain"},
                            {{"--to", "", "--text", "a"}, 2, "expected user@domain"},
                            {{"--date", "-5", "--text", "a"}, 2, "--date"}}) {
        Preview(use.args, use.exitCode, use.says);
    }
    ExpectVx({"notify", "preview", "--out", Path("nowhere/mail"), "--text", "a"}, 3);
}

} // namespace
