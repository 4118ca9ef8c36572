// SPDX-License-Identifier: Apache-2.0
#include "board/daemon/log_line.h"

#include <gtest/gtest.h>

namespace plexor::tests
{

using board::parse_log_line;

struct Case {
    const char *datagram;
    const char *ident;
    const char *text;
};

class LogLines : public ::testing::TestWithParam<Case>
{
};

TEST_P(LogLines, IdentAndTextAreFound)
{
    const auto line = parse_log_line(GetParam().datagram);
    EXPECT_EQ(line.ident, GetParam().ident);
    EXPECT_EQ(line.text, GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Datagrams, LogLines,
                         ::testing::Values(Case{"<14>Jan  2 03:04:05 plexor[431]: Outlet1 on", "plexor",
                                                "Outlet1 on"},
                                           Case{"<14>Jan  2 03:04:05 plexor: a: b", "plexor", "a: b"},
                                           Case{"<191>plexor: no date\n", "plexor", "no date"},
                                           Case{"<14>Jan  2 03:04:05 no ident here", "", "no ident here"},
                                           Case{"<14>Jan  2 03:04:05 two words: text", "", "two words: text"},
                                           Case{"plain", "", "plain"}, Case{"", "", ""}, Case{"<", "", "<"},
                                           Case{"<14>", "", ""}, Case{"<99999>x: y", "<99999>x", "y"},
                                           Case{"a\x1b[31m: \x1b[0m\ttext", "a?", "?[0m?text"}));

} // namespace plexor::tests
