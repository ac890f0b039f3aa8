// Puts an account together for the benchmarks and feeds it; what is measured is left to them.

#include "bench/BenchHost.h"

#include "devhost/framework/record/MemoryFile.h"
#include "devhost/framework/seams/Framework.h"
#include "devhost/framework/values/JsonParser.h"
#include "tests/support/TestHost.h"

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
void LoadAccount(CVestaraInterface& account)
{
    devhost::MemoryFile record;
    record.WriteInt(static_cast<int>(account.BridgeID()));
    record.WriteString("");
    record.WriteInt(account.Flags());
    record.WriteString("refresh-0123456789abcdef0123456789abcdef");
    record.WriteString("access-0123456789abcdef0123456789abcdef");
    record.WriteString("location-0123456789");
    record.WriteString("Lake House");
    record.WriteInt(kIsMaster);
    record.WriteInt(OAUTH_REDIRECT_LOCAL);
    if (!account.ReadClientData(&record, kRecordVersion))
        throw std::logic_error("the account's record has changed, and the benchmarks have not followed");
}

std::string Timestamp(std::time_t time)
{
    std::tm parts{};
    gmtime_r(&time, &parts);
    char text[32];
    return std::string(text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts));
}

__attribute__((format(printf, 1, 2))) std::string Formatted(const char* format, ...)
{
    char text[512];
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return text;
}

std::string DeviceID(int i)
{
    return Formatted("lock-00000000-0000-0000-%012d", i);
}

// A list of what the function gives for 0 to one less than the number.
template <class Write>
std::string List(int entries, Write entry)
{
    std::string body = R"({"data":[)";
    for (int i = 0; i < entries; ++i) {
        if (i > 0)
            body += ',';
        body += entry(i);
    }
    return body + R"(],"meta":{"page":1,"total_pages":1}})";
}

} // namespace

BenchHost::BenchHost()
{
    devhost::Framework& parts = devhost::TheFramework();
    parts.sleeper = this;
    parts.wakeMainLoop = [this] { return m_loop->Wake(); };
    devhost::System::Options options;
    options.plugins = {support::DriverEntryPoints()};
    options.store = &m_store;
    options.workers = false;
    m_system = std::make_unique<devhost::System>(std::move(options));
    m_system->Start();
    CNetworkBridge* bridge = m_system->AddInterface(kVestaraInterfaceType);
    m_account = dynamic_cast<CVestaraInterface*>(bridge->DeviceInterface());
    LoadAccount(*m_account);
    // A young token of a long life, so that no refresh falls due however far a benchmark moves the clock.
    Process(CMD_TOKEN_REFRESH,
            R"({"access_token":"access-0123456789abcdef0123456789abcdef",)"
            R"("refresh_token":"refresh-0123456789abcdef0123456789abcdef",)"
            R"("expires_in":4000000})",
            "", "");
    m_account->ResetUpdateTimers();
}

BenchHost::~BenchHost()
{
    m_system.reset();
    devhost::TheFramework() = {};
}

void BenchHost::InstallLocks(int count)
{
    for (int i = 0; i < count; ++i) {
        const std::string id = DeviceID(i);
        if (!m_account->AddNewDoorLock(id.c_str(), ("Lock " + std::to_string(i)).c_str()))
            throw std::logic_error("a lock could not be installed");
    }
    m_system->RunOnce();
}

void BenchHost::RunWorker(int passes, std::function<void()> onPass)
{
    m_passesLeft = passes;
    m_onPass = std::move(onPass);
    m_account->Run();
    m_account->NetworkBridge()->ShuttingDown(0);
}

void BenchHost::Sleep(std::chrono::milliseconds)
{
    m_onPass();
    if (--m_passesLeft <= 0)
        m_account->NetworkBridge()->ShuttingDown(1);
}

void BenchHost::TakeReply(CommandID commandId, const std::string& body, const char* deviceId,
                          const char* userId)
{
    Process(commandId, body, deviceId, userId);
    while (m_account->NResponses() > 0)
        m_account->OnInterfaceIdle();
}

void BenchHost::TakeReplyInLoop(CommandID commandId, const std::string& body, const char* deviceId,
                                const char* userId)
{
    Process(commandId, body, deviceId, userId);
    m_loop->Run([this](int wakeCount) {
        m_system->RunOnce(wakeCount);
        if (m_account->NResponses() == 0)
            m_loop->RequestExit();
    });
    m_loop = std::make_unique<devhost::MainLoop>(); // one runs once only
}

int BenchHost::DropCommands()
{
    int droppedCount = 0;
    while (m_account->NextCommand())
        ++droppedCount;
    return droppedCount;
}

void BenchHost::Process(CommandID commandId, const std::string& body, const char* deviceId,
                        const char* userId)
{
    auto command = std::make_unique<CVestaraCommand>(METHOD_READ, commandId, m_account->LocationID(),
                                                     deviceId, userId, "");
    command->Response(devhost::ParseJson(body).release());
    if (!m_account->ProcessResponse(std::move(command)))
        throw std::logic_error("a reply was refused");
}

std::string StatusBody(int locks, std::time_t connectedAt)
{
    const std::string when = Timestamp(connectedAt);
    return List(locks, [&](int i) {
        return Formatted(R"({"type":"lock","id":"%s","attributes":{"name":"Door %d",)"
                         R"("location_id":"location-0123456789","state":"locked","power_level":87,)"
                         R"("power_source":"battery","wifi_level":64,"programming_code":"4711",)"
                         R"("serial_number":"VP%d","heartbeat_interval":3600,"connected_at":"%s",)"
                         R"("updated_at":"%s","alive":true}})",
                         DeviceID(i).c_str(), i, 100000 + i, when.c_str(), when.c_str());
    });
}

std::string BareLocksBody(int locks)
{
    return List(locks, [](int i) {
        return Formatted(R"({"type":"lock","id":"%s","name":"Door %d","location_id":"location-0123456789"})",
                         DeviceID(i).c_str(), i);
    });
}

std::string PersonsBody(int persons)
{
    return List(persons, [](int i) {
        return Formatted(R"({"type":"access_user","id":"person-00000000-0000-0000-%012d","attributes":)"
                         R"({"name":"Guest %06d","pin":"%06d","email":"guest%d@lake.example"}})",
                         i, i, i, i);
    });
}

std::string LocationsBody(int locations)
{
    return List(locations, [](int i) {
        return Formatted(R"({"type":"location","id":"house-%06d","name":"House %06d"})", i, i);
    });
}

std::string AccessesBody(int accesses)
{
    return List(accesses, [](int i) {
        return Formatted(R"({"type":"access_person_access","id":"access-00000000-0000-0000-%012d",)"
                         R"("attributes":{"accessible_id":"%s","accessible_type":"lock",)"
                         R"("access_person_id":"%s"}})",
                         i, kAccessDevice, kAccessPerson);
    });
}

std::string ListBody(int entries, const std::string& entry)
{
    return List(entries, [&](int) { return entry; });
}

} // namespace bench
