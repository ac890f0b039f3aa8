// Writes the system into the configuration text and reads it back. Keeping the text is Store.cpp's.

#include "devhost/framework/record/Configuration.h"

#include "devhost/framework/record/MemoryFile.h"
#include "devhost/framework/record/RecordLine.h"
#include "devhost/framework/system/System.h"

#include <algorithm>
#include <functional>
#include <limits>

namespace devhost
{

namespace
{

// Numbers of this source's reports.
enum : int {
    REPORT_DAMAGED = 1,
    REPORT_CONTENT,
    REPORT_DUPLICATE,
    REPORT_TYPE,
    REPORT_REFUSED,
    REPORT_COUNT,
    REPORT_USER
};

std::string Line(const std::string& Kind, const MemoryFile& Record)
{
    return RecordLine{Kind, Record.Bytes()}.Format() + "\n";
}

} // namespace

void Configuration::Fault(int Line, const std::string& What)
{
    m_bSound = false;
    AssertWrap("configuration", Line, What.c_str());
}

std::optional<std::string> Configuration::Write(std::string* pError)
{
    std::string Body;
    // What is stored is what there is, so that switches of removed producers go. Those of objects whose
    // library is away are not told from them, and stay with their records.
    if (m_System.m_KeptRecords.empty())
        m_System.m_Traces.Clear();
    for (CTraceProducer* pProducer : m_System.TraceProducers())
        m_System.m_Traces.Store(static_cast<char*>(pProducer->TraceName()), pProducer->TraceEnabled() != 0);
    for (const auto& [Name, Enabled] : m_System.m_Traces.Switches()) {
        MemoryFile Record;
        Record.WriteString(Name.c_str());
        Record.WriteInt(Enabled);
        Body += Line("trace", Record);
    }
    for (int Slot = 0; Slot < SecurityServer::kSlots; ++Slot) {
        const CUser* pUser = m_System.m_Security.GetUserAtDoorLockSlot(Slot);
        if (!pUser)
            continue;
        MemoryFile Record;
        Record.WriteInt(Slot);
        Record.WriteString(pUser->Name());
        Record.WriteString(pUser->Email());
        Record.WriteString(pUser->PIN_DoorLock());
        Body += Line("user", Record);
    }
    for (const auto& pAccount : m_System.m_Accounts) {
        MemoryFile Record;
        Record.WriteInt(static_cast<int>(pAccount->Bridge.ID()));
        Record.WriteInt(pAccount->Bridge.InterfaceType());
        Record.WriteString(pAccount->Bridge.Name());
        if (!pAccount->pInterface->WriteClientData(&Record, kVersion)) {
            *pError = "interface " + std::to_string(pAccount->Bridge.ID()) + " could not write its record";
            return std::nullopt;
        }
        Body += Line("bridge", Record);
    }
    const auto Components = m_System.Components();
    for (CSystemComponent* pComponent : Components) {
        MemoryFile Record;
        Record.WriteInt(pComponent->ComponentType());
        Record.WriteInt(static_cast<int>(pComponent->ID()));
        if (!pComponent->WriteData(&Record, kVersion)) {
            *pError = "component " + std::to_string(pComponent->ID()) + " could not write its record";
            return std::nullopt;
        }
        Body += Line("component", Record);
    }
    auto nBridges = m_System.m_Accounts.size();
    auto nComponents = Components.size();
    for (const std::string& Kept : m_System.m_KeptRecords) {
        Body += Kept + "\n";
        ++(Kept.starts_with("bridge ") ? nBridges : nComponents);
    }

    MemoryFile Header;
    Header.WriteInt(kVersion);
    Header.WriteInt(static_cast<int>(m_System.m_IDs.Next()));
    Header.WriteInt(static_cast<int>(nBridges));
    Header.WriteInt(static_cast<int>(nComponents));
    return Line("configuration", Header) + Body + Line("end", MemoryFile());
}

void Configuration::Parse(std::string_view Text)
{
    for (int Number = 1; !Text.empty(); ++Number) {
        const std::size_t End = Text.find('\n');
        const auto Parsed = RecordLine::Parse(Text.substr(0, End));
        if (Parsed)
            m_Lines.push_back(*Parsed);
        else
            Fault(REPORT_DAMAGED, "line " + std::to_string(Number) + " of the configuration is damaged");
        Text.remove_prefix(End == std::string_view::npos ? Text.size() : End + 1);
    }
}

bool Configuration::Read(std::string_view Text)
{
    Parse(Text);
    // By kind, so that what others refer to is there first, whatever the order of the lines.
    const std::pair<const char*, void (Configuration::*)(const RecordLine&)> Readers[] = {
        {"configuration", &Configuration::ReadHeader},
        {"trace", &Configuration::ReadTrace},
        {"user", &Configuration::ReadUser},
        {"bridge", &Configuration::ReadBridge},
        {"component", &Configuration::ReadComponent},
    };
    for (const auto& [Kind, Reader] : Readers) {
        for (const RecordLine& Record : m_Lines) {
            if (Record.Kind == Kind)
                std::invoke(Reader, this, Record);
        }
    }
    CheckCounts();
    return m_bSound;
}

void Configuration::CheckCounts()
{
    if (!m_nBridgesExpected)
        return Fault(REPORT_COUNT, "the configuration has no sound first record");
    const bool bEnded = std::any_of(m_Lines.begin(), m_Lines.end(),
                                    [](const RecordLine& Record) { return Record.Kind == "end"; });
    if (!bEnded || m_nBridges < *m_nBridgesExpected || m_nComponents < *m_nComponentsExpected)
        Fault(REPORT_COUNT, "records are missing in the configuration: " + std::to_string(m_nBridges) +
                                " of " + std::to_string(*m_nBridgesExpected) + " interfaces and " +
                                std::to_string(m_nComponents) + " of " +
                                std::to_string(*m_nComponentsExpected) + " components were read");
}

bool Configuration::NoteID(int ID)
{
    if (ID <= 0 || ID == std::numeric_limits<int>::max() ||
        std::find(m_Used.begin(), m_Used.end(), ID) != m_Used.end())
        return false;
    m_Used.push_back(ID);
    m_System.m_IDs.NoteUsed(static_cast<unsigned>(ID));
    return true;
}

void Configuration::ReadHeader(const RecordLine& Line)
{
    MemoryFile Record(Line.Bytes);
    int NextID = 0;
    int nBridges = 0;
    int nComponents = 0;
    if (!Record.ReadInt(&m_Version) || !Record.ReadInt(&NextID) || !Record.ReadInt(&nBridges) ||
        !Record.ReadInt(&nComponents))
        return Fault(REPORT_CONTENT, "the configuration's first record cannot be read");
    m_nBridgesExpected = nBridges;
    m_nComponentsExpected = nComponents;
    // Ids are never given out twice, also when what had the highest one was removed before the save.
    if (NextID > 1)
        m_System.m_IDs.NoteUsed(static_cast<unsigned>(NextID - 1));
}

void Configuration::ReadTrace(const RecordLine& Line)
{
    MemoryFile Record(Line.Bytes);
    CQXString Name;
    int Enabled = 0;
    if (!Record.ReadString(&Name) || !Record.ReadInt(&Enabled))
        return Fault(REPORT_CONTENT, "a trace switch cannot be read");
    m_System.m_Traces.Store(static_cast<char*>(Name), Enabled != 0);
}

void Configuration::ReadUser(const RecordLine& Line)
{
    MemoryFile Record(Line.Bytes);
    int Slot = -1;
    CQXString Name;
    CQXString Email;
    CQXString Pin;
    if (!Record.ReadInt(&Slot) || !Record.ReadString(&Name) || !Record.ReadString(&Email) ||
        !Record.ReadString(&Pin))
        return Fault(REPORT_CONTENT, "a user cannot be read");
    const UserData User{static_cast<char*>(Name), static_cast<char*>(Email), static_cast<char*>(Pin)};
    const std::string Who = "the user at slot " + std::to_string(Slot);
    if (const auto Wrong = m_System.m_Security.SetUser(Slot, User))
        return Fault(REPORT_CONTENT, Who + " is left out: " + *Wrong);
    // Kept, because the user may have a person in the cloud, which only the installer can sort out.
    auto Doubt = CheckNewName(User.Name);
    if (!Doubt)
        Doubt = m_System.m_Security.FindDuplicate(Slot, User);
    if (Doubt)
        AssertWrap("configuration", REPORT_USER, (Who + " is kept, but its " + *Doubt).c_str());
}

void Configuration::ReadBridge(const RecordLine& Line)
{
    MemoryFile Record(Line.Bytes);
    int ID = 0;
    int Type = 0;
    CQXString Name;
    if (!Record.ReadInt(&ID) || !Record.ReadInt(&Type) || !Record.ReadString(&Name))
        return Fault(REPORT_CONTENT, "an interface's record cannot be read");
    if (!NoteID(ID))
        return Fault(REPORT_DUPLICATE, "interface " + std::to_string(ID) + " is left out: its id is no id");
    System::Account* pAccount = m_System.AttachInterface(static_cast<unsigned>(ID), Type);
    if (!pAccount) {
        // Its library may be back the next time, so the record is kept, and written again as it is.
        m_System.m_KeptRecords.push_back(Line.Format());
        ++m_nBridges;
        AssertWrap("configuration", REPORT_TYPE,
                   ("no library makes interface type " + std::to_string(Type)).c_str());
        return;
    }
    ++m_nBridges;
    pAccount->Bridge.Name(Name);
    if (!pAccount->pInterface->ReadClientData(&Record, m_Version))
        Fault(REPORT_REFUSED, "interface " + std::to_string(ID) + " could not read its record");
    // The record's own copy of the id may be another one only in a file that was tampered with.
    pAccount->pInterface->BridgeID(static_cast<unsigned>(ID));
}

void Configuration::ReadComponent(const RecordLine& Line)
{
    MemoryFile Record(Line.Bytes);
    int Type = 0;
    int ID = 0;
    if (!Record.ReadInt(&Type) || !Record.ReadInt(&ID))
        return Fault(REPORT_CONTENT, "a component's record cannot be read");
    if (!NoteID(ID))
        return Fault(REPORT_DUPLICATE, "component " + std::to_string(ID) + " is left out: its id is no id");
    SystemFamily* pFamily = m_System.FamilyOfType(Type);
    auto pComponent = pFamily ? m_System.CreateComponent(pFamily->Definition(Type)) : nullptr;
    if (!pComponent) {
        m_System.m_KeptRecords.push_back(Line.Format());
        ++m_nComponents;
        AssertWrap("configuration", REPORT_TYPE,
                   ("no library makes component type " + std::to_string(Type)).c_str());
        return;
    }
    if (!pComponent->ReadData(&Record, m_Version))
        return Fault(REPORT_REFUSED, "component " + std::to_string(ID) + " could not read its record");
    pComponent->ID(static_cast<unsigned>(ID));
    m_System.m_Traces.LoadStateFor(pComponent.get());
    pFamily->Append(std::move(pComponent));
    ++m_nComponents;
}

} // namespace devhost
