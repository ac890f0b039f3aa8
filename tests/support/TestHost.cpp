// Puts the test host together; the framework behind it is the development host's own.

#include "support/TestHost.h"

#include "access/AccessPerson.h"
#include "devhost/framework/JSONParser.h"
#include "interface/LocationPair.h"

#include <utility>

extern "C" {
void LoadDeviceInterfaces(void* pReserved, CQXObList* pList);
CDeviceInterface* CreateDeviceInterface(CDeviceInterfaceDef* pDefinition);
void LoadSystemComponentDefs(CStringBlock* pBlock, int iFamily, CQXObList* pList);
CSystemComponent* CreateSystemComponent(CSystemComponentDef* pDefinition);
}

namespace support
{

devhost::PluginEntryPoints DriverEntryPoints()
{
    return {LoadDeviceInterfaces, CreateDeviceInterface, LoadSystemComponentDefs, CreateSystemComponent};
}

std::unique_ptr<CJSONObject> ParseJson(const std::string& Text)
{
    auto pTree = devhost::ParseJson(Text);
    EXPECT_TRUE(pTree) << "the test's JSON does not parse: " << Text;
    return pTree;
}

void ClockSleeper::Sleep(std::chrono::milliseconds Time)
{
    // The worker's pass is too frequent to be an effect; every other pause is one.
    constexpr std::chrono::milliseconds kPass{100};
    if (Time != kPass)
        m_Journal.Add("Sleep " + std::to_string(Time.count()));
    m_Clock.Advance(static_cast<std::uint64_t>(Time.count()));
    if (Time == kPass && OnPass)
        OnPass();
}

DriverTest::DriverTest(std::string StoredConfiguration)
{
    if (!StoredConfiguration.empty())
        m_Store.Text = std::move(StoredConfiguration);
    devhost::Framework& Parts = devhost::TheFramework();
    Parts.pTransport = &m_Cloud;
    Parts.pDiagnostics = &m_Journal;
    Parts.pSleeper = &m_Sleeper;
    Parts.WakeMainLoop = [this] {
        m_Journal.Add("SetMainLoopTrigger");
        return 1;
    };
    Parts.RedirectURI = [](int Schema) { return "https://host.example/redirect/" + std::to_string(Schema); };

    StartSystem();
    m_Journal.Take();
}

void DriverTest::StartSystem()
{
    devhost::TheFramework().pSystem = m_pSystem.get();
    m_pSystem.reset();
    devhost::System::Options Options;
    Options.Plugins = {DriverEntryPoints()};
    Options.pStore = &m_Store;
    Options.Workers = false;
    m_pSystem = std::make_unique<devhost::System>(std::move(Options));
    m_pJournalled = std::make_unique<JournalledSystem>(*m_pSystem, m_Journal);
    devhost::TheFramework().pSystem = m_pJournalled.get();
    m_pSystem->Start();
}

DriverTest::~DriverTest()
{
    devhost::TheFramework().pSystem = m_pSystem.get();
    m_pSystem.reset();
    devhost::TheFramework() = {};
}

void DriverTest::TearDown()
{
    for (const std::string& Report : m_Journal.TakeReports())
        ADD_FAILURE() << "nobody expected: " << Report;
}

CVestaraInterface& DriverTest::AddAccount()
{
    CNetworkBridge* pBridge = m_pSystem->AddInterface(kVestaraInterfaceType);
    auto& Account = dynamic_cast<CVestaraInterface&>(*pBridge->DeviceInterface());
    m_Journal.Take();
    return Account;
}

CVestaraInterface& DriverTest::AddReadyAccount()
{
    CVestaraInterface& Account = AddAccount();
    CVestaraInterfaceProbe Fields = Probe(Account);
    Fields.AccessToken() = "access-1";
    Fields.RefreshToken() = "refresh-1";
    Fields.LocationID() = "loc-1";
    Fields.LocationName() = "Lake House";
    return Account;
}

CPortivo& DriverTest::AddLock(CVestaraInterface& Account, const char* DeviceID, const char* Name)
{
    EXPECT_EQ(Account.AddNewDoorLock(DeviceID, Name), 1);
    CPortivo* pLock = Account.FindDoorLock(DeviceID);
    Probe(Account).NotifyConfig() = 0;
    Probe(Account).NotifyInterface() = 0;
    m_Journal.Take();
    return *pLock;
}

void DriverTest::RunWorker(CVestaraInterface& Account, int Passes)
{
    CNetworkBridge* pBridge = Account.NetworkBridge();
    m_Sleeper.OnPass = [&Passes, pBridge] {
        if (--Passes <= 0)
            pBridge->ShuttingDown(1);
    };
    EXPECT_EQ(Account.Run(), 0);
    m_Sleeper.OnPass = nullptr;
    pBridge->ShuttingDown(0);
}

int DriverTest::SendNext(CVestaraInterface& Account)
{
    auto pCommand = Account.NextCommand();
    return pCommand ? Account.SendCommand(std::move(pCommand)) : -1;
}

int DriverTest::Process(CVestaraInterface& Account, CommandID Command, const std::string& Json,
                        const char* LocationID, const char* DeviceID, const char* UserID,
                        VestaraMethod Method)
{
    auto pCommand = std::make_unique<CVestaraCommand>(Method, Command, LocationID, DeviceID, UserID, "");
    pCommand->Response(ParseJson(Json).release());
    return Account.ProcessResponse(std::move(pCommand));
}

Lines DriverTest::Queued(CVestaraInterface& Account)
{
    Lines Found;
    CTSObList& Commands = Probe(Account).Commands();
    for (int n = Commands.GetCount(); n > 0; --n) {
        auto* pCommand = static_cast<CVestaraCommand*>(Commands.RemoveHead());
        Found.push_back(std::to_string(pCommand->Method()) + " " + std::to_string(pCommand->GetCommandID()) +
                        " " + std::string(pCommand->LocationID()) + "|" + std::string(pCommand->DeviceID()) +
                        "|" + std::string(pCommand->UserID()) + "|" + std::string(pCommand->AccessID()));
        Commands.AddTail(pCommand);
    }
    return Found;
}

std::size_t DriverTest::DropQueued(CVestaraInterface& Account)
{
    std::size_t nDropped = 0;
    while (Account.NextCommand())
        ++nDropped;
    return nDropped;
}

Lines DriverTest::TakeEffects()
{
    Lines Effects = m_Journal.Take();
    for (std::string& Effect : Effects)
        if (Effect.starts_with("trace "))
            Effect.erase(5, Effect.find(": ") - 5);
    return Effects;
}

Lines DriverTest::TakeEffectsButPace()
{
    Lines Effects = TakeEffects();
    std::erase_if(Effects, [](const std::string& Effect) {
        return Effect.starts_with("trace: RunIdle delay") ||
               Effect.find("] commands queued [") < Effect.size();
    });
    return Effects;
}

void DriverTest::AddPerson(CVestaraInterface& Account, int Index, const char* ID, const char* Name,
                           const char* Pin, const char* Email)
{
    auto pPerson = std::make_unique<CAccessPerson>(Index, ID, Pin, Name, Email);
    EXPECT_EQ(Account.InsertAccessPerson(pPerson), 1) << Name;
    m_Journal.Take();
}

void DriverTest::SetUser(int Slot, const char* Name, const char* Pin, const char* Email)
{
    EXPECT_EQ(m_pSystem->Security().SetUser(Slot, {Name, Email, Pin}), std::nullopt);
    m_Journal.Take();
}

Lines DriverTest::Persons(CVestaraInterface& Account)
{
    Lines Found;
    const CQXObList& List = Probe(Account).AccessPersons();
    for (CQXPos* pPos = List.GetHeadPosition(); pPos;) {
        const auto* pPerson = static_cast<const CAccessPerson*>(List.GetNext(pPos));
        std::string Line = std::to_string(pPerson->Index());
        for (const CQXString& Field : {pPerson->ID(), pPerson->Name(), pPerson->PinCode(), pPerson->Email()})
            Line.append("|").append(Field);
        Found.push_back(Line);
    }
    return Found;
}

Lines DriverTest::Candidates(CVestaraInterface& Account)
{
    Lines Found;
    const CQXObList& List = Probe(Account).Locations();
    for (CQXPos* pPos = List.GetHeadPosition(); pPos;)
        Found.emplace_back(static_cast<const CLocationPair*>(List.GetNext(pPos))->ID());
    return Found;
}

Lines operator+(const Lines& First, const Lines& Second)
{
    Lines All = First;
    All.insert(All.end(), Second.begin(), Second.end());
    return All;
}

Lines WithTracing(bool Enabled, const Lines& Marked)
{
    Lines Found;
    for (const std::string& Line : Marked) {
        if (!Line.starts_with("~"))
            Found.push_back(Line);
        else if (Enabled)
            Found.push_back(Line.substr(1));
    }
    return Found;
}

} // namespace support
