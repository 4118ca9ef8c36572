// SPDX-License-Identifier: Apache-2.0
// Whatever bytes a journal holds, its entries are found one after the other and no byte is lost.
#include <cstdint>
#include <string>

#include "fuzz/appliance.h"
#include "tools/plexorctl/journal.h"

using namespace plexor::ctl;
using plexor::fuzz::expect;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string bytes(reinterpret_cast<const char *>(data), size);
    const Journal journal = split_journal(bytes);
    std::string seen;
    for (std::string_view rest = journal.entries; !rest.empty();) {
        const JournalEntry entry = take_entry(rest);
        expect(!entry.raw.empty() && entry.outlet_count <= most_journal_outlets);
        seen += entry.raw;
    }
    expect(seen == journal.entries);
    return 0;
}
