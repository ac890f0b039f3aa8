// Puts an account together for the benchmarks and feeds it; what is measured is left to them.

#include "bench/BenchHost.h"

#include "devhost/framework/record/MemoryFile.h"
#include "devhost/framework/seams/Framework.h"
#include "devhost/framework/values/JsonParser.h"
#include "support/TestHost.h"

#include <cstdarg>
#include <cstdio>
#include <stdexcept>

namespace bench
{

namespace
{

constexpr int kRecordVersion = 1500; // any that is newer than the last change of the record
constexpr int kIsMaster = 1;

// The account's record as a configuration would hold it.
void LoadAccount(CVestaraInterface& Account)
{
    devhost::MemoryFile Record;
    Record.WriteInt(static_cast<int>(Account.BridgeID()));
    Record.WriteString("");
    Record.WriteInt(Account.Flags());
    Record.WriteString("refresh-0123456789abcdef0123456789abcdef");
    Record.WriteString("access-0123456789abcdef0123456789abcdef");
    Record.WriteString("location-0123456789");
    Record.WriteString("Lake House");
    Record.WriteInt(kIsMaster);
    Record.WriteInt(OAUTH_REDIRECT_LOCAL);
    if (!Account.ReadClientData(&Record, kRecordVersion))
        throw std::logic_error("the account's record has changed, and the benchmarks have not followed");
}

std::string Timestamp(std::time_t Time)
{
    std::tm Parts{};
    gmtime_r(&Time, &Parts);
    char Text[32];
    return std::string(Text, std::strftime(Text, sizeof Text, "%Y-%m-%dT%H:%M:%SZ", &Parts));
}

__attribute__((format(printf, 1, 2))) std::string Formatted(const char* pFormat, ...)
{
    char Text[512];
    std::va_list Arguments;
    va_start(Arguments, pFormat);
    std::vsnprintf(Text, sizeof Text, pFormat, Arguments);
    va_end(Arguments);
    return Text;
}

std::string DeviceID(int i)
{
    return Formatted("lock-00000000-0000-0000-%012d", i);
}

// A list of what the function gives for 0 to one less than the number.
template <class Write>
std::string List(int Entries, Write Entry)
{
    std::string Body = R"({"data":[)";
    for (int i = 0; i < Entries; ++i) {
        if (i > 0)
            Body += ',';
        Body += Entry(i);
    }
    return Body + R"(],"meta":{"page":1,"total_pages":1}})";
}

} // namespace

BenchHost::BenchHost()
{
    devhost::Framework& Parts = devhost::TheFramework();
    Parts.pSleeper = this;
    Parts.WakeMainLoop = [this] { return m_pLoop->Wake(); };
    devhost::System::Options Options;
    Options.Plugins = {support::DriverEntryPoints()};
    Options.pStore = &m_Store;
    Options.Workers = false;
    m_pSystem = std::make_unique<devhost::System>(std::move(Options));
    m_pSystem->Start();
    CNetworkBridge* pBridge = m_pSystem->AddInterface(kVestaraInterfaceType);
    m_pAccount = dynamic_cast<CVestaraInterface*>(pBridge->DeviceInterface());
    LoadAccount(*m_pAccount);
    // A young token of a long life, so that no refresh falls due however far a benchmark moves the clock.
    Process(CMD_TOKEN_REFRESH,
            R"({"access_token":"access-0123456789abcdef0123456789abcdef",)"
            R"("refresh_token":"refresh-0123456789abcdef0123456789abcdef",)"
            R"("expires_in":4000000})",
            "", "");
    m_pAccount->ResetUpdateTimers();
}

BenchHost::~BenchHost()
{
    m_pSystem.reset();
    devhost::TheFramework() = {};
}

void BenchHost::InstallLocks(int Count)
{
    for (int i = 0; i < Count; ++i) {
        const std::string ID = DeviceID(i);
        if (!m_pAccount->AddNewDoorLock(ID.c_str(), ("Lock " + std::to_string(i)).c_str()))
            throw std::logic_error("a lock could not be installed");
    }
    m_pSystem->RunOnce();
}

void BenchHost::RunWorker(int Passes, std::function<void()> OnPass)
{
    m_PassesLeft = Passes;
    m_OnPass = std::move(OnPass);
    m_pAccount->Run();
    m_pAccount->NetworkBridge()->ShuttingDown(0);
}

void BenchHost::Sleep(std::chrono::milliseconds)
{
    m_OnPass();
    if (--m_PassesLeft <= 0)
        m_pAccount->NetworkBridge()->ShuttingDown(1);
}

void BenchHost::TakeReply(CommandID Command, const std::string& Body, const char* DeviceID,
                          const char* UserID)
{
    Process(Command, Body, DeviceID, UserID);
    while (m_pAccount->NResponses() > 0)
        m_pAccount->OnInterfaceIdle();
}

void BenchHost::TakeReplyInLoop(CommandID Command, const std::string& Body, const char* DeviceID,
                                const char* UserID)
{
    Process(Command, Body, DeviceID, UserID);
    m_pLoop->Run([this](int nWakes) {
        m_pSystem->RunOnce(nWakes);
        if (m_pAccount->NResponses() == 0)
            m_pLoop->RequestExit();
    });
    m_pLoop = std::make_unique<devhost::MainLoop>(); // one runs once only
}

int BenchHost::DropCommands()
{
    int nDropped = 0;
    while (m_pAccount->NextCommand())
        ++nDropped;
    return nDropped;
}

void BenchHost::Process(CommandID Command, const std::string& Body, const char* DeviceID, const char* UserID)
{
    auto pCommand = std::make_unique<CVestaraCommand>(METHOD_READ, Command, m_pAccount->LocationID(),
                                                      DeviceID, UserID, "");
    pCommand->Response(devhost::ParseJson(Body).release());
    if (!m_pAccount->ProcessResponse(std::move(pCommand)))
        throw std::logic_error("a reply was refused");
}

std::string StatusBody(int Locks, std::time_t ConnectedAt)
{
    const std::string When = Timestamp(ConnectedAt);
    return List(Locks, [&](int i) {
        return Formatted(R"({"type":"lock","id":"%s","attributes":{"name":"Door %d",)"
                         R"("location_id":"location-0123456789","state":"locked","power_level":87,)"
                         R"("power_source":"battery","wifi_level":64,"programming_code":"4711",)"
                         R"("serial_number":"VP%d","heartbeat_interval":3600,"connected_at":"%s",)"
                         R"("updated_at":"%s","alive":true}})",
                         DeviceID(i).c_str(), i, 100000 + i, When.c_str(), When.c_str());
    });
}

std::string BareLocksBody(int Locks)
{
    return List(Locks, [](int i) {
        return Formatted(R"({"type":"lock","id":"%s","name":"Door %d","location_id":"location-0123456789"})",
                         DeviceID(i).c_str(), i);
    });
}

std::string PersonsBody(int Persons)
{
    return List(Persons, [](int i) {
        return Formatted(R"({"type":"access_user","id":"person-00000000-0000-0000-%012d","attributes":)"
                         R"({"name":"Guest %06d","pin":"%06d","email":"guest%d@lake.example"}})",
                         i, i, i, i);
    });
}

std::string LocationsBody(int Locations)
{
    return List(Locations, [](int i) {
        return Formatted(R"({"type":"location","id":"house-%06d","name":"House %06d"})", i, i);
    });
}

std::string AccessesBody(int Accesses)
{
    return List(Accesses, [](int i) {
        return Formatted(R"({"type":"access_person_access","id":"access-00000000-0000-0000-%012d",)"
                         R"("attributes":{"accessible_id":"%s","accessible_type":"lock",)"
                         R"("access_person_id":"%s"}})",
                         i, kAccessDevice, kAccessPerson);
    });
}

std::string ListBody(int Entries, const std::string& Entry)
{
    return List(Entries, [&](int) { return Entry; });
}

} // namespace bench
