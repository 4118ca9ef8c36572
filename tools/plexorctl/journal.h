// SPDX-License-Identifier: Apache-2.0
// The alert journal as its readers find it: bytes in, entries out, without any device or file.
//
// Every byte of the journal is in latest, or in the raw text of one entry: nothing that a writer left there
// is lost, whatever it is.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace plexor::ctl
{

constexpr unsigned most_journal_outlets = 8;

struct JournalOutlet {
    bool on;
    std::optional<double> amperes;
};

struct JournalEntry {
    std::string_view raw; // its end included
    bool understood;      // else there is nothing below
    std::string_view source;
    std::string_view time; // "2026-01-02 03:04:05", local
    std::string_view description;
    unsigned outlet_count;
    JournalOutlet outlets[most_journal_outlets];
    std::optional<double> celsius;
    std::optional<double> volts;
    std::optional<double> amperes; // of all outlets together
    std::optional<std::string_view> input;
};

struct Journal {
    std::optional<std::uint32_t> latest; // seconds since the epoch; none in a journal too short for it
    std::string_view entries;
};

Journal split_journal(std::string_view bytes);

// Takes the first entry off; entries is not empty.
JournalEntry take_entry(std::string_view &entries);

} // namespace plexor::ctl
