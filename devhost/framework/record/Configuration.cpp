// Writes the system into the configuration text and reads it back. Keeping the text is Store.cpp's.

#include "devhost/framework/record/Configuration.h"

#include "devhost/framework/record/MemoryFile.h"
#include "devhost/framework/record/RecordLine.h"
#include "devhost/framework/system/System.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <map>
#include <set>
#include <utility>

namespace devhost
{

namespace
{

// Numbers of this source's reports.
enum : int {
    DamagedReport = 1,
    ContentReport,
    DuplicateReport,
    TypeReport,
    RefusedReport,
    CountReport,
    UserReport
};

// The kinds of records.
constexpr const char* kHeader = "configuration";
constexpr const char* kTrace = "trace";
constexpr const char* kUser = "user";
constexpr const char* kBridge = "bridge";
constexpr const char* kComponent = "component";
constexpr const char* kEnd = "end";

std::string Line(const std::string& kind, const MemoryFile& record)
{
    return RecordLine{kind, record.Bytes()}.Format() + "\n";
}

// Whether there is one first and one last record, so many records as the first one says, and none of them
// twice.
bool AreAllThere(const std::vector<RecordLine>& lines, std::optional<int> recordCount)
{
    std::set<std::pair<std::string_view, std::string_view>> seen;
    std::map<std::string_view, int> counts;
    for (const RecordLine& line : lines) {
        ++counts[line.kind];
        if (!seen.emplace(line.kind, line.bytes).second)
            return false;
    }
    return counts[kHeader] == 1 && counts[kEnd] == 1 &&
           (!recordCount || lines.size() == static_cast<std::size_t>(*recordCount) + 2);
}

} // namespace

void Configuration::Fault(int line, const std::string& what)
{
    if (m_firstFault.empty())
        m_firstFault = what;
    AssertWrap("configuration", line, what.c_str());
}

std::optional<std::string> Configuration::Write(std::string* error)
{
    std::string body;
    // What is stored is what there is, so that switches of removed producers go. Those of objects whose
    // library is away, or whose record was damaged, are not told from them, and stay.
    if (m_system.m_keptRecords.empty() && !m_system.m_saving.damaged)
        m_system.m_traces.Clear();
    for (CTraceProducer* producer : m_system.TraceProducers())
        m_system.m_traces.Store(static_cast<char*>(producer->TraceName()), producer->TraceEnabled() != 0);
    for (const auto& [name, enabled] : m_system.m_traces.Switches()) {
        MemoryFile record;
        record.WriteString(name.c_str());
        record.WriteInt(enabled);
        body += Line(kTrace, record);
    }
    for (int slot = 0; slot < SecurityServer::kSlots; ++slot) {
        const CUser* user = m_system.m_security.GetUserAtDoorLockSlot(slot);
        if (!user)
            continue;
        MemoryFile record;
        record.WriteInt(slot);
        record.WriteString(user->Name());
        record.WriteString(user->Email());
        record.WriteString(user->PIN_DoorLock());
        body += Line(kUser, record);
    }
    for (const auto& account : m_system.m_accounts) {
        MemoryFile record;
        record.WriteInt(static_cast<int>(account->bridge.ID()));
        record.WriteInt(account->bridge.InterfaceType());
        record.WriteString(account->bridge.Name());
        if (!account->interface->WriteClientData(&record, kVersion)) {
            *error = "interface " + std::to_string(account->bridge.ID()) + " could not write its record";
            return std::nullopt;
        }
        body += Line(kBridge, record);
    }
    const auto components = m_system.Components();
    for (CSystemComponent* component : components) {
        MemoryFile record;
        record.WriteInt(component->ComponentType());
        record.WriteInt(static_cast<int>(component->ID()));
        if (!component->WriteData(&record, kVersion)) {
            *error = "component " + std::to_string(component->ID()) + " could not write its record";
            return std::nullopt;
        }
        body += Line(kComponent, record);
    }
    auto bridgeCount = m_system.m_accounts.size();
    auto componentCount = components.size();
    for (const std::string& kept : m_system.m_keptRecords) {
        body += kept + "\n";
        ++(kept.starts_with(kBridge + std::string(" ")) ? bridgeCount : componentCount);
    }

    MemoryFile header;
    header.WriteInt(kVersion);
    header.WriteInt(static_cast<int>(m_system.m_ids.Next()));
    header.WriteInt(static_cast<int>(bridgeCount));
    header.WriteInt(static_cast<int>(componentCount));
    header.WriteInt(static_cast<int>(std::ranges::count(body, '\n')));
    return Line(kHeader, header) + body + Line(kEnd, MemoryFile());
}

void Configuration::Parse(std::string_view text)
{
    for (int number = 1; !text.empty(); ++number) {
        const std::size_t end = text.find('\n');
        const auto parsed = RecordLine::Parse(text.substr(0, end));
        if (parsed)
            m_lines.push_back(*parsed);
        else
            Fault(DamagedReport, "line " + std::to_string(number) + " of the configuration is damaged");
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
}

std::optional<std::string> Configuration::FindFault(std::string_view text)
{
    std::optional<Header> header;
    std::vector<RecordLine> lines;
    std::map<std::string, int> counts;
    for (int number = 1; !text.empty(); ++number) {
        const std::size_t end = text.find('\n');
        auto record = RecordLine::Parse(text.substr(0, end));
        if (!record)
            return "line " + std::to_string(number) + " is damaged";
        if (record->kind == kHeader)
            header = ParseHeader(*record);
        ++counts[record->kind];
        lines.push_back(std::move(*record));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    if (!header || counts[kHeader] != 1)
        return "there is not one sound first record";
    if (header->version > kVersion)
        return "a newer host has written it";
    if (!AreAllThere(lines, header->recordCount) || counts[kBridge] != header->bridgeCount ||
        counts[kComponent] != header->componentCount)
        return "records are missing or too many";
    return std::nullopt;
}

bool Configuration::Read(std::string_view text)
{
    Parse(text);
    // By kind, so that what others refer to is there first, whatever the order of the lines.
    const std::pair<const char*, void (Configuration::*)(const RecordLine&)> readers[] = {
        {kHeader, &Configuration::ReadHeader},       {kTrace, &Configuration::ReadTrace},
        {kUser, &Configuration::ReadUser},           {kBridge, &Configuration::ReadBridge},
        {kComponent, &Configuration::ReadComponent},
    };
    for (const auto& [kind, reader] : readers) {
        for (const RecordLine& record : m_lines) {
            if (record.kind == kind)
                std::invoke(reader, this, record);
        }
    }
    CheckCounts();
    return m_firstFault.empty();
}

void Configuration::CheckCounts()
{
    if (!m_expected)
        return Fault(CountReport, "the configuration has no sound first record");
    if (!AreAllThere(m_lines, m_expected->recordCount) || m_bridgeCount != m_expected->bridgeCount ||
        m_componentCount != m_expected->componentCount)
        Fault(CountReport,
              "records are missing in the configuration, or too many: " + std::to_string(m_bridgeCount) +
                  " of " + std::to_string(m_expected->bridgeCount) + " interfaces and " +
                  std::to_string(m_componentCount) + " of " + std::to_string(m_expected->componentCount) +
                  " components were read");
}

bool Configuration::NoteId(int id)
{
    if (id <= 0 || id == std::numeric_limits<int>::max() ||
        std::find(m_used.begin(), m_used.end(), id) != m_used.end())
        return false;
    m_used.push_back(id);
    m_system.m_ids.NoteUsed(static_cast<unsigned>(id));
    return true;
}

std::optional<Configuration::Header> Configuration::ParseHeader(const RecordLine& line)
{
    MemoryFile record(line.bytes);
    Header header;
    if (!record.ReadInt(&header.version) || !record.ReadInt(&header.nextId) ||
        !record.ReadInt(&header.bridgeCount) || !record.ReadInt(&header.componentCount))
        return std::nullopt;
    // One that was written before all records were counted has no more.
    if (int recordCount = 0; record.ReadInt(&recordCount))
        header.recordCount = recordCount;
    return header;
}

void Configuration::ReadHeader(const RecordLine& line)
{
    const auto header = ParseHeader(line);
    if (!header)
        return Fault(ContentReport, "the configuration's first record cannot be read");
    m_version = header->version;
    m_expected = header;
    // Ids are never given out twice, also when what had the highest one was removed before the save.
    if (header->nextId > 1)
        m_system.m_ids.NoteUsed(static_cast<unsigned>(header->nextId - 1));
}

void Configuration::ReadTrace(const RecordLine& line)
{
    MemoryFile record(line.bytes);
    CQXString name;
    int enabled = 0;
    if (!record.ReadString(&name) || !record.ReadInt(&enabled))
        return Fault(ContentReport, "a trace switch cannot be read");
    m_system.m_traces.Store(static_cast<char*>(name), enabled != 0);
}

void Configuration::ReadUser(const RecordLine& line)
{
    MemoryFile record(line.bytes);
    int slot = -1;
    CQXString name;
    CQXString email;
    CQXString pin;
    if (!record.ReadInt(&slot) || !record.ReadString(&name) || !record.ReadString(&email) ||
        !record.ReadString(&pin))
        return Fault(ContentReport, "a user cannot be read");
    const UserData user{static_cast<char*>(name), static_cast<char*>(email), static_cast<char*>(pin)};
    const std::string who = "the user at slot " + std::to_string(slot);
    if (const auto wrong = m_system.m_security.SetUser(slot, user))
        return Fault(ContentReport, who + " is left out: " + *wrong);
    // Kept, because the user may have a person in the cloud, which only the installer can sort out.
    auto doubt = CheckNewName(user.name);
    if (!doubt)
        doubt = m_system.m_security.FindDuplicate(slot, user);
    if (doubt)
        AssertWrap("configuration", UserReport, (who + " is kept, but its " + *doubt).c_str());
}

void Configuration::ReadBridge(const RecordLine& line)
{
    MemoryFile record(line.bytes);
    int id = 0;
    int type = 0;
    CQXString name;
    if (!record.ReadInt(&id) || !record.ReadInt(&type) || !record.ReadString(&name))
        return Fault(ContentReport, "an interface's record cannot be read");
    if (!NoteId(id))
        return Fault(DuplicateReport, "interface " + std::to_string(id) + " is left out: its id is no id");
    System::Account* account = m_system.AttachInterface(static_cast<unsigned>(id), type);
    if (!account) {
        // Its library may be back the next time, so the record is kept, and written again as it is.
        m_system.m_keptRecords.push_back(line.Format());
        ++m_bridgeCount;
        AssertWrap("configuration", TypeReport,
                   ("no library makes interface type " + std::to_string(type)).c_str());
        return;
    }
    ++m_bridgeCount;
    account->bridge.Name(name);
    if (!account->interface->ReadClientData(&record, m_version))
        Fault(RefusedReport, "interface " + std::to_string(id) + " could not read its record");
    // The record's own copy of the id may be another one only in a file that was tampered with.
    account->interface->BridgeID(static_cast<unsigned>(id));
}

void Configuration::ReadComponent(const RecordLine& line)
{
    MemoryFile record(line.bytes);
    int type = 0;
    int id = 0;
    if (!record.ReadInt(&type) || !record.ReadInt(&id))
        return Fault(ContentReport, "a component's record cannot be read");
    if (!NoteId(id))
        return Fault(DuplicateReport, "component " + std::to_string(id) + " is left out: its id is no id");
    SystemFamily* family = m_system.FamilyOfType(type);
    auto component = family ? m_system.CreateComponent(family->Definition(type)) : nullptr;
    if (!component) {
        m_system.m_keptRecords.push_back(line.Format());
        ++m_componentCount;
        AssertWrap("configuration", TypeReport,
                   ("no library makes component type " + std::to_string(type)).c_str());
        return;
    }
    if (!component->ReadData(&record, m_version))
        return Fault(RefusedReport, "component " + std::to_string(id) + " could not read its record");
    component->ID(static_cast<unsigned>(id));
    m_system.m_traces.LoadStateFor(component.get());
    family->Append(std::move(component));
    ++m_componentCount;
}

} // namespace devhost
