#pragma once
// Pages that come as messages, taken apart: the extended page of an interface and the page of a lock.

#include "host/QXStream.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace devhost
{

/// A page with one chooser, as an interface writes it: two integers, a label, the selected entry, the number
/// of entries, the entries, and the interface's flag word.
struct ExtendedPage {
    static constexpr int kHeader = 0x2020000;
    static constexpr int kMasterBit = 0x2000000; ///< of the flag word: this interface holds the tokens

    std::string label;
    int selected = -1;
    int count = 0; ///< as announced; may be more than there are choices
    std::vector<std::string> choices;
    int flags = 0;

    bool IsMaster() const { return (flags & kMasterBit) != 0; }

    /// Nothing when the message is no such page. Entries are read as long as the next item is a text,
    /// because an interface that still waits for its entries announces one and writes none.
    static std::optional<ExtendedPage> Read(const CQXMSG& message);
};

/// A lock's page: an integer that tells the kinds of the rows, then the rows. A row is a label and either a
/// text, or the selected entry, the number of entries and the entries. One value for each row comes back.
struct LockPage {
    struct Row {
        std::string label;
        std::string text;            ///< of a row that only shows one
        std::optional<int> selected; ///< nothing for a text; may be no entry
        std::vector<std::string> entries = {};
    };
    std::vector<Row> rows;

    /// The row of this label; null when there is none.
    const Row* Find(std::string_view label) const;

    /// Nothing when the message is no such page.
    static std::optional<LockPage> Read(const CQXMSG& message);
};

} // namespace devhost
