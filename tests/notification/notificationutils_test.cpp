// SPDX-License-Identifier: Apache-2.0
// tests/notification/notificationutils_test.cpp - message bodies turned, cut and completed.
#include "notificationutils.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <functional>
#include <set>

#include "package/textreplace.h"

namespace {

std::string Edited(const std::function<void(char*)>& edit, const std::string& text)
{
    // Two bytes behind the promised size show a write beyond it; the text may be longer than that size.
    std::string buf(std::max(text.size() + 1, NOTIFY_MESSAGE_SIZE) + 2, '\x5a');
    std::memcpy(buf.data(), text.c_str(), text.size() + 1);
    edit(buf.data());
    EXPECT_EQ(buf.substr(buf.size() - 2), "\x5a\x5a");
    return buf.c_str();
}

void EmbedPicture(char* buf)
{
    EmbedSnapShotInContent(buf, "a@b", "jpg");
}

const std::string IMG = "<img src=\"cid:a@b\" style=\"max-width:100%; margin:3px 0;\">\n";
const std::string E2 = "\xc3\xa9"; // a character of two bytes

// Catches: a replacement that misses or invents one, an element of another form, a cut at another byte, a null buffer that is used.
TEST(MessageTextTest, BodyBecomesTheAgreedText)
{
    const auto as = [](std::size_t count) { return std::string(count, 'a'); };
    const struct {
        const char* what;
        std::function<void(char*)> edit;
        std::string in;
        std::string out;
    } cases[] = {
        {"HtmlOfLines", PlainTextToHtml, "a\nb", "a<br>b\n\n"},
        {"HtmlEscapesNothing", PlainTextToHtml, "<b>&\r\n\n%s", "<b>&\r<br><br>%s\n\n"},
        {"PlainOfBothForms", HtmlToPlainText, "a<br>b\nc<BR>", "a\\nb\\nc\\n"},
        {"PlainKeepsOtherForms", HtmlToPlainText, "<Br><br/><bR>< br>", "<Br><br/><bR>< br>"},
        {"PlainOfATagWithinATag", HtmlToPlainText, "<b<br>r>", "<b\\nr>"},
        {"VideoOfMp4Only", [](char* b) { EmbedSnapShotInContent(b, "c", "mp4"); }, "x",
         "x<video src=\"cid:c\" style=\"max-width:100%; margin:3px 0;\">\n"},
        {"ImageOfUpperCase", [](char* b) { EmbedSnapShotInContent(b, "a@b", "MP4"); }, "", IMG},
        // 4095 bytes are kept, wherever they end
        {"FitsToTheByte", PlainTextToHtml, as(4093), as(4093) + "\n\n"},
        {"LongerThanTheBuffer", PlainTextToHtml, as(4096), as(4095)},
        {"TagCut", PlainTextToHtml, as(4092) + "\n", as(4092) + "<br"},
        {"BackslashWithoutItsLetter", HtmlToPlainText, as(4094) + "\n", as(4094) + "\\"},
        {"CharacterCut", HtmlToPlainText, as(4094) + E2, as(4094) + "\xc3"},
        {"ElementFitsToTheByte", EmbedPicture, as(4095 - IMG.size()), as(4095 - IMG.size()) + IMG},
        {"ElementCut", EmbedPicture, as(4094), as(4094) + "<"},
        {"NoRoomForAnElement", EmbedPicture, as(9000), as(4095)},
    };
    for (const auto& [what, edit, in, expected] : cases) {
        EXPECT_EQ(Edited(edit, in), expected) << what;
        edit(nullptr); // is left alone
    }
}

// Catches: a kind that lost its picture, or one that waits for a picture nobody takes.
TEST(SnapshotRequiredTest, ExactlyTheListedKindsCarryAPicture)
{
    const std::set<int> listed{5,  6,  7,  8,  9,  10,  11,  12,  13,  46,  47,  48,  49,  50,  51, 56, 61,
                               62, 63, 64, 65, 66, 67,  68,  69,  70,  71,  72,  85,  86,  89,  90, 91, 92,
                               93, 94, 95, 98, 99, 100, 101, 105, 109, 110, 111, 114, 119, 120, 121};
    for (int type = -1; type <= 300; ++type) {
        EXPECT_EQ(IsSnapshotRequired(static_cast<Vx_NOTIFY_TYPE>(type)), listed.contains(type)) << type;
    }
    EXPECT_FALSE(IsSnapshotRequired(static_cast<Vx_NOTIFY_TYPE>(INT_MIN)));
    EXPECT_FALSE(IsSnapshotRequired(static_cast<Vx_NOTIFY_TYPE>(INT_MAX)));
}

// Catches: a replacement that reads what it wrote, stops early, or never ends.
TEST(StringReplaceSymbolTest, EveryOccurrenceOrTheFirst)
{
    const std::tuple<std::string, std::string, std::string, bool, std::string> cases[] = {
        {"aXbX", "X", "XX", true, "aXXbXX"},
        {"aXbX", "X", "", false, "abX"},
        {"aaa", "aa", "b", true, "ba"},
        {"abc", "", "-", true, "abc"},
        {"", "a", "b", true, ""},
        {"ab", "abc", "x", true, "ab"},
        {std::string("a\0b\0", 4), std::string("\0", 1), "-", true, "a-b-"}};
    for (const auto& [text, from, to, flag, expected] : cases) {
        std::string replaced = text;
        StringReplaceSymbol(replaced, from, to, flag);
        EXPECT_EQ(replaced, expected) << text << " " << from;
    }
}

} // namespace
