#pragma once
// The configuration text: what the system saves of itself and how it comes back.

#include "devhost/framework/record/RecordLine.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace devhost
{

class System;

/// Writes and reads the configuration of a system. Host thread; used for the length of one save or load.
///
/// The text is one record a line (RecordLine): "configuration" (version, next id, how many bridges,
/// components and records of all kinds follow), "trace", "user", "bridge", "component", and "end". A record
/// that is damaged, missing or too many is reported and the rest is taken.
class Configuration
{
public:
    /// Above 1460, from which on the interface's record holds its redirect schema.
    static constexpr int kVersion = 1500;

    explicit Configuration(System& owner) : m_system(owner) {}

    /// What is wrong with a text, as far as it shows without the objects that read the records: each line's
    /// form and checksum, and that all records are there. Nothing when it is whole. Reports nothing.
    static std::optional<std::string> FindFault(std::string_view text);

    /// The text of the whole system; nothing when an object could not write its record.
    /// @param error then says which one.
    std::optional<std::string> Write(std::string* error);

    /// Fills a system that holds nothing yet: ids, switches and users first, then bridges with their
    /// interfaces, then components. Links and initialisation are left to the system.
    /// @return whether all of the text was sound. Each fault is reported.
    bool Read(std::string_view text);

    /// What the first fault was that Read found; empty without one.
    const std::string& FirstFault() const { return m_firstFault; }

private:
    void Parse(std::string_view text);
    void ReadHeader(const RecordLine& line);
    void ReadTrace(const RecordLine& line);
    void ReadUser(const RecordLine& line);
    void ReadBridge(const RecordLine& line);
    void ReadComponent(const RecordLine& line);
    void CheckCounts();
    bool NoteId(int id);
    void Fault(int line, const std::string& what);

    // The first record: how the others are written, and how many follow.
    struct Header {
        int version = 0;
        int nextId = 0;
        int bridgeCount = 0;
        int componentCount = 0;
        std::optional<int> recordCount{}; // of all kinds, this one and the last left out
    };
    static std::optional<Header> ParseHeader(const RecordLine& line);

    System& m_system;
    std::vector<RecordLine> m_lines;
    std::vector<int> m_used; // ids of bridges and components so far
    int m_version = kVersion;
    std::optional<Header> m_expected;
    int m_bridgeCount = 0;
    int m_componentCount = 0;
    std::string m_firstFault;
};

} // namespace devhost
