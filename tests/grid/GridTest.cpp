// Every command with every fault in every phase of its exchange, over real connections: what the driver says,
// and what the account is left with. Commands, faults and outcomes are the tables beside.

#include "cloud/CloudConstants.h"
#include "devhost/framework/network/TlsTransport.h"
#include "tests/grid/FaultyServer.h"
#include "tests/support/TestHost.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <set>

#include <netdb.h>
#include <unistd.h>

// Names are looked up here, so that no case depends on the resolver of a machine.
extern "C" int __wrap_getaddrinfo(const char* name, const char* /*Service*/, const addrinfo* /*Hints*/,
                                  addrinfo** /*Found*/)
{
    if (std::string_view(name) == "slow.example")
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
    return EAI_NONAME;
}

namespace support
{

using nlohmann::json;
using Changes = std::map<std::string, std::string>;

constexpr std::chrono::milliseconds kPatience{30000};
constexpr std::chrono::milliseconds kShortPatience{100};

class GridTest : public DriverTest, private devhost::Transport
{
protected:
    GridTest()
    {
        std::ofstream(m_caFile) << m_authority.CertificatePem();
        devhost::TheFramework().transport = this;
    }
    ~GridTest() override
    {
        std::filesystem::remove(m_caFile);
        // A look-up that was given up goes on by itself.
        std::this_thread::sleep_for(std::chrono::milliseconds(600));
    }

    /// An account with a lock, persons of all kinds, and a command that waits.
    CVestaraInterface& AddFullAccount()
    {
        StartSystem();
        CVestaraInterface& account = AddReadyAccount();
        account.UpdateInterfaceName(&account, account.LocationName());
        Probe(account).AuthCode() = "code-1";
        Probe(account).Authorized() = 1;
        AddLock(account, "front", "Front");
        SetUser(4, "Ann", "1111", "ann@x.example");
        AddPerson(account, 4, "", "Ann", "1111", "ann@x.example");
        AddPerson(account, -1, "p-ben", "Ben", "2222", "ben@x.example");
        CUser* ann = CSecurityServer::Instance()->GetUserAtDoorLockSlot(4);
        account.FindDoorLock("front")->EnableUser(ann->ID(), 1);
        DropQueued(account);
        account.AddCommand(METHOD_READ, CMD_LOCATIONS_LIST, "", "", "", "");
        account.GenObfuscationList();
        Probe(account).NotifyConfig() = 0;
        Probe(account).NotifyInterface() = 0;
        account.ResetUpdateTimers();
        m_clock.Advance(1000);
        account.TraceEnabled(1);
        m_journal.Take();
        return account;
    }
    Changes Holdings(CVestaraInterface& account)
    {
        CVestaraInterfaceProbe fields = Probe(account);
        Changes found;
        const auto number = [&](const char* name, std::uint64_t value) {
            found[name] = std::to_string(value);
        };
        const auto list = [&](const char* name, const Lines& lines) {
            std::string& text = found[name];
            for (const std::string& line : lines)
                text.append(text.empty() ? "" : ", ").append(line);
        };
        found["access token"] = std::string(CQXString(fields.AccessToken()));
        found["refresh token"] = std::string(CQXString(fields.RefreshToken()));
        found["code"] = std::string(CQXString(fields.AuthCode()));
        found["house"] = std::string(CQXString(fields.LocationID()));
        list("commands", Queued(account));
        list("persons", Persons(account));
        list("houses", Candidates(account));
        Lines locks;
        for (CPortivo* lock = account.NextDoorLock(nullptr); lock && locks.size() < 9;) {
            locks.push_back(std::string(lock->DeviceID()) + " " + std::to_string(lock->State()) + " " +
                            std::to_string(lock->BatteryLevel()) + " " +
                            std::to_string(lock->SignalStrength()));
            CPortivo* next = account.NextDoorLock(lock);
            lock = next == account.NextDoorLock(nullptr) ? nullptr : next;
        }
        list("locks", locks);
        number("lifetime", static_cast<std::uint64_t>(fields.TokenLifetime().load()));
        number("masks", static_cast<std::uint64_t>(fields.ObfuscationList().GetCount()));
        number("authorised", static_cast<std::uint64_t>(fields.Authorized().load()));
        number("remove locks", static_cast<std::uint64_t>(fields.RemoveDevices().load()));
        number("tell", static_cast<std::uint64_t>(fields.NotifyConfig().load()));
        number("refresh due", fields.TokenTimer().QXTickCount() == 6'600'000);
        number("token anew", fields.TokenTimer().QXTickCount() == 0);
        number("polls anew",
               fields.StatusPollTimer().QXTickCount() + fields.AccessPollTimer().QXTickCount() == 0);
        number("polls soon", fields.AccessPollTimer().QXTickCount() >= 58'000);
        number("sends", account.NetworkBridge()->NSends());
        number("receives", account.NetworkBridge()->NReceives());
        return found;
    }

    /// What one cell has come to.
    struct Outcome {
        Lines sending, processing, log;
        Changes changes;
        std::string request;
    };
    Outcome Run(const Row& command, const Row& fault)
    {
        CVestaraInterface& account = AddFullAccount();
        const Row words = Words(fault.at("way"));
        grid::FaultyServer server(words, Reply(fault.at("reply"), command.at("sound")),
                                  words.contains("tls") ? m_wrong.at(words.at("tls")) : m_own);
        const std::map<std::string, std::string> elsewhere{{"name=none", "none.example"},
                                                           {"name=slow", "slow.example"},
                                                           {"connect=unreachable", "255.255.255.255"}};
        const auto place = elsewhere.find(Split(fault.at("way") + " ", ' ').front());
        const std::string address = place == elsewhere.end() ? "127.0.0.1" : place->second;
        const bool soon = words.contains("soon");
        m_connectFor = soon && fault.at("phase") != "request" && fault.at("phase") != "close" ? kShortPatience
                                                                                              : kPatience;
        devhost::TlsTransport transport(
            {m_caFile,
             {{kApiHost, 443, address, server.Port()}, {kOAuthHost, 443, address, server.Port()}},
             soon ? kShortPatience : kPatience});
        m_transport = &transport;

        const Changes before = Holdings(account);
        Outcome found;
        account.SendCommand(std::make_unique<CVestaraCommand>(
            static_cast<VestaraMethod>(std::stoi(command.at("method"))),
            static_cast<CommandID>(std::stoi(command.at("command"))), command.at("location").c_str(),
            command.at("device").c_str(), command.at("user").c_str(), command.at("access").c_str()));
        found.sending = TakeOutcome(found.log);
        found.request = server.Received();
        while (auto reply = account.NextResponse())
            account.ProcessResponse(std::move(reply));
        found.processing = TakeOutcome(found.log);
        for (const auto& [name, value] : Holdings(account)) {
            if (value != before.at(name))
                found.changes[name] = value;
        }
        return found;
    }

    cloudsim::CertificateAuthority m_authority = cloudsim::CertificateAuthority::Create("Authority");
    std::string m_caFile = testing::TempDir() + "grid-ca-" + std::to_string(getpid());
    cloudsim::Identity m_own = m_authority.Issue({kApiHost, kOAuthHost});
    std::map<std::string, cloudsim::Identity> m_wrong{
        {"stranger", cloudsim::CertificateAuthority::Create("Stranger").Issue({kApiHost, kOAuthHost})},
        {"other", m_authority.Issue({"other.example"})},
        {"closed", m_own},
        {"plain", m_own},
        {"mute", m_own}};

private:
    std::unique_ptr<devhost::Connection> Connect(const std::string& host, int port,
                                                 std::chrono::milliseconds timeout) override
    {
        EXPECT_EQ(timeout.count(), 5000) << "what the driver gives a connection";
        return m_transport->Connect(host, port, m_connectFor);
    }
    std::string LastFailure() const override { return m_transport->LastFailure(); }

    static std::string Reply(std::string reply, const std::string& sound)
    {
        if (const std::size_t mark = reply.find("{sound}"); mark != std::string::npos)
            reply.replace(mark, 7, sound);
        const std::size_t body = reply.starts_with("HTTP") ? std::string::npos : reply.find('|');
        reply = Expand(reply);
        if (body == std::string::npos)
            return reply;
        const std::string content = reply.substr(body + 1);
        return "HTTP/1.1 " + reply.substr(0, body) + "\r\nContent-Length: " + std::to_string(content.size()) +
               "\r\n\r\n" + content;
    }
    /// The effects, with short words for what other tests look at: "page" for a page as it came, "tree" for a
    /// printed JSON tree; the traces of the request and of the pace are left out. The host's own lines go to
    /// the log.
    Lines TakeOutcome(Lines& log)
    {
        Lines found;
        for (std::string& effect : m_journal.Take()) {
            const bool trace = effect.starts_with("trace ");
            const std::string text = effect.substr(effect.find(": ") + 2);
            if (effect.starts_with("trace tls: ") || effect.starts_with("report tls ") ||
                effect.starts_with("report http "))
                log.push_back(text);
            else if (effect.starts_with("report vestarai "))
                found.push_back(effect.substr(16));
            else if (!trace)
                found.push_back(effect);
            else if (text.starts_with("HTTPS "))
                found.clear();
            else if (text.starts_with("Got ["))
                found.push_back("page");
            else if (devhost::ParseJson(text))
                found.push_back("tree");
            else if (!text.starts_with("RunIdle delay") && text.find("] commands queued [") > text.size())
                found.push_back(text);
        }
        return found;
    }

    devhost::TlsTransport* m_transport = nullptr;
    std::chrono::milliseconds m_connectFor{};
};

/// Whether a field of alternatives ("1, 2", "*", "* but 1, 2") means the name.
static bool Means(const std::string& field, const std::string& name)
{
    constexpr std::string_view kBut = "* but ";
    const bool but = field.starts_with(kBut);
    std::istringstream names(but ? field.substr(kBut.size()) : field);
    bool named = field == "*";
    for (std::string one; std::getline(names >> std::ws, one, ',');)
        named = named || one == name;
    return named != but;
}

/// The lines of an outcome for a command: those that begin with "@" are not for token requests.
static Lines Filled(const json& lines, const Row& command, const std::string& reason)
{
    Lines found;
    for (std::string line : lines) {
        if (line.starts_with("@")) {
            if (command.at("method") < "2")
                continue;
            line.erase(0, 1);
        }
        for (const auto& [mark, value] : {std::pair<std::string, std::string>{"{reason}", reason},
                                          {"{command}", command.at("command")},
                                          {"{user}", command.at("user")}}) {
            if (const std::size_t at = line.find(mark); at != std::string::npos)
                line.replace(at, mark.size(), value);
        }
        found.push_back(line);
    }
    return found;
}

TEST_F(GridTest, EveryCommandWithEveryFaultInEveryPhaseEndsAsTheTableSays)
{
    std::ifstream file(TABLES_FOLDER "/outcomes.json");
    const json outcomes = json::parse(file, nullptr, true, true);
    const auto expectations = ReadTable("expected");
    std::set<const Row*> unused;
    for (const Row& row : expectations)
        unused.insert(&row);
    for (const Row& fault : ReadTable("faults")) {
        for (const Row& command : ReadTable("commands")) {
            SCOPED_TRACE("command " + command.at("command") + ", " + fault.at("phase") + ": " +
                         fault.at("fault"));
            std::vector<const Row*> rows;
            for (const Row& row : expectations) {
                if (Means(row.at("commands"), command.at("command")) &&
                    Means(row.at("phases"), fault.at("phase")) && Means(row.at("faults"), fault.at("fault")))
                    rows.push_back(&row);
            }
            ASSERT_EQ(rows.size(), 1u) << "rows for one cell";
            unused.erase(rows[0]);
            const json& sending = outcomes.at("sending").at(rows[0]->at("sending"));
            const json& processing = outcomes.at("processing").at(rows[0]->at("processing"));
            Changes changes = sending.at("changes");
            for (const auto& [name, value] : processing.at("changes").items())
                changes[name] = value;
            const std::string& reply = fault.at("reply");
            const std::string reason = reply.size() < 4 ? "" : reply.substr(4, reply.find('|') - 4);

            const Outcome found = Run(command, fault);
            EXPECT_EQ(found.sending, Filled(sending.at("effects"), command, reason));
            EXPECT_EQ(found.processing, Filled(processing.at("effects"), command, reason));
            EXPECT_EQ(found.changes, changes);
            EXPECT_EQ(found.log.size(), fault.at("log").empty() ? 0u : 1u);
            for (const std::string& line : found.log)
                EXPECT_THAT(line, testing::HasSubstr(fault.at("log")));
            const bool refusedFirst = Means("name, connect, tls", fault.at("phase"));
            EXPECT_EQ(found.request.empty(), refusedFirst || Words(fault.at("way")).contains("read"));
        }
    }
    for (const Row* row : unused)
        ADD_FAILURE() << "no cell has commands " << row->at("commands") << ", phases " << row->at("phases")
                      << ", faults " << row->at("faults");
}

} // namespace support
