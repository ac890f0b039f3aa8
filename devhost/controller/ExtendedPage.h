#pragma once
// The extended page of an interface, taken apart.

#include "host/QXStream.h"

#include <optional>
#include <string>
#include <vector>

namespace devhost
{

/// A page with one chooser, as an interface writes it: two integers, a label, the selected entry, the number
/// of entries, the entries, and the interface's flag word.
struct ExtendedPage {
    static constexpr int kHeader = 0x2020000;
    static constexpr int kMasterBit = 0x2000000; ///< of the flag word: this interface holds the tokens

    std::string Label;
    int Selected = -1;
    int Count = 0; ///< as announced; may be more than there are choices
    std::vector<std::string> Choices;
    int Flags = 0;

    bool IsMaster() const { return (Flags & kMasterBit) != 0; }

    /// Nothing when the message is no such page. Entries are read as long as the next item is a text,
    /// because an interface that still waits for its entries announces one and writes none.
    static std::optional<ExtendedPage> Read(const CQXMSG& Message);
};

} // namespace devhost
