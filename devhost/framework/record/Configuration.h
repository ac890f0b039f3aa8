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
/// The text is one record a line (RecordLine): "configuration" (version, next id, how many bridges and
/// components follow), "trace", "user", "bridge", "component", and "end". A record that is damaged or
/// missing is reported and the rest is taken.
class Configuration
{
public:
    /// Above 1460, from which on the interface's record holds its redirect schema.
    static constexpr int kVersion = 1500;

    explicit Configuration(System& Owner) : m_System(Owner) {}

    /// The text of the whole system; nothing when an object could not write its record.
    /// @param pError then says which one.
    std::optional<std::string> Write(std::string* pError);

    /// Fills a system that holds nothing yet: ids, switches and users first, then bridges with their
    /// interfaces, then components. Links and initialisation are left to the system.
    /// @return whether all of the text was sound. Each fault is reported.
    bool Read(std::string_view Text);

private:
    void Parse(std::string_view Text);
    void ReadHeader(const RecordLine& Line);
    void ReadTrace(const RecordLine& Line);
    void ReadUser(const RecordLine& Line);
    void ReadBridge(const RecordLine& Line);
    void ReadComponent(const RecordLine& Line);
    void CheckCounts();
    bool NoteID(int ID);
    void Fault(int Line, const std::string& What);

    System& m_System;
    std::vector<RecordLine> m_Lines;
    std::vector<int> m_Used; // ids of bridges and components so far
    int m_Version = kVersion;
    std::optional<int> m_nBridgesExpected;
    std::optional<int> m_nComponentsExpected;
    int m_nBridges = 0;
    int m_nComponents = 0;
    bool m_bSound = true;
};

} // namespace devhost
