// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "followups.h"
#include "text.h"
#include "tree.h"

namespace tarni::cli {
namespace {

TEST(TextTest, LetsNothingThroughThatATerminalWouldObey) {
  const std::pair<std::string, std::string> cases[] = {
      {"Caf\u00e9 \u65e5\u672c \U0001F600", "Caf\u00e9 \u65e5\u672c \U0001F600"},
      {"\x1b[2J\n\t\x7f", "\uFFFD[2J\uFFFD\uFFFD\uFFFD"},
      {"\x9b\x31m \u009bm", "\uFFFD1m \uFFFDm"},             // C1, raw and encoded
      {"a\u202eb\u2066c\u2028d", "a\uFFFDb\uFFFDc\uFFFDd"},  // turns, isolates, ends the line
      {"\xC0\x9b \xE0\x82\x9b", "\uFFFD\uFFFD \uFFFD\uFFFD\uFFFD"},  // too long
      {"\xED\xA0\x80 \xF4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD \uFFFD\uFFFD\uFFFD\uFFFD"},
      {"cut \xE6\x97", "cut \uFFFD\uFFFD"},
      {std::string("nul\0!", 5), "nul\uFFFD!"},
  };
  for (const auto& [bytes, text] : cases) EXPECT_EQ(printable(bytes), text);
  EXPECT_EQ(printable_lines("a\n\tb\r\x1b"), "a\n\tb\uFFFD\uFFFD");
}

TEST(TextTest, CutsByColumnsNotByBytes) {
  set_up_locale();
  EXPECT_EQ(display_width("\u65e5\u672c\u8a9e!"), 7u);
  EXPECT_EQ(cut_to_width("\u65e5\u672c\u8a9e", 6), "\u65e5\u672c\u8a9e");
  EXPECT_EQ(cut_to_width("\u65e5\u672c\u8a9e", 4), "\u65e5\u2026");
}

TEST(TreeTest, HangsDevicesOnTheNearestHubThatIsThere) {
  const std::vector<std::string> lines =
      tree_of({"usb1", "1-1", "1-1.2", "1-1.4.3", "1-2", "1-2.1", "2-1", "usb10"});
  EXPECT_EQ(lines, (std::vector<std::string>{"usb1", "├─ 1-1", "│  ├─ 1-1.2", "│  └─ 1-1.4.3",
                                             "└─ 1-2", "   └─ 1-2.1", "2-1", "usb10"}));
}

TEST(FollowupsTest, ForgetsWhatHangsOnARemovedHubAndNothingElse) {
  Followups followups;
  followups.add("/d/1-1.4", nullptr, Clock::now());
  followups.add("/d/1-10", nullptr, Clock::now());
  followups.forget("/d/1-1");
  EXPECT_FALSE(followups.empty());
  followups.forget("/d/1-10");
  EXPECT_TRUE(followups.empty());
}

}  // namespace
}  // namespace tarni::cli
