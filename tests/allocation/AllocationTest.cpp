// One session of a controller, in which each allocation of host and driver fails once, in a run of its own:
// the host goes on or ends by an exception that says why, and what it has stored is whole.

#include "cloudsim/model/Cloud.h"
#include "cloudsim/model/Fixture.h"
#include "devhost/framework/diagnostics/DiagnosticLog.h"
#include "devhost/framework/network/HttpReplyReader.h"
#include "devhost/framework/record/Configuration.h"
#include "devhost/framework/record/Store.h"
#include "devhost/framework/system/System.h"
#include "tests/allocation/Allocations.h"
#include "tests/support/Clock.h"
#include "tests/support/Probes.h"

#include <gtest/gtest.h>
#include <iostream>
#include <new>

namespace
{

using allocation::May;

constexpr const char* kHouse = R"({
  "account": {"name": "Robin", "email": "robin@x.example"},
  "locations": [{"id": "loc-1", "name": "Lake House"}, {"id": "loc-2", "name": "Hill"}],
  "locks": [
    {"id": "front", "name": "Front", "location_id": "loc-1", "serial_number": "S1", "programming_code": "111111",
     "power_source": "battery", "heartbeat_interval": 20, "state": "locked", "power_level": 90, "wifi_level": 80}],
  "access_persons": [{"id": "dan", "name": "Dan", "email": "dan@x.example", "pin": "4444"}]})";

// The host with its driver and the cloud, on one thread. A page call that fails is made again, as people do.
class Session : private devhost::Sleeper, private devhost::Transport
{
public:
    Session()
    {
        devhost::Framework& parts = devhost::TheFramework();
        parts.transport = this;
        parts.diagnostics = &m_log;
        parts.sleeper = this;
        parts.redirectUri = [](int) { return std::string("http://127.0.0.1:8099/oauth/redirect"); };
        Start();
    }
    ~Session() override
    {
        m_system.reset();
        devhost::TheFramework() = {};
    }

    // @throws std::bad_alloc where a host ends.
    void Play()
    {
        Call([&] { m_system->SetTraceAll(true); });
        Call([&] { m_system->AddInterface(kVestaraInterfaceType); });
        std::string url;
        Call([&] { url = Account()->GetAuthURL(); });
        const std::string state = Field(url, "state");
        const std::string code = Field(Browse(url), "code");
        Call([&] {
            if (CNetworkBridge* bridge = m_system->TakeOAuthState(state))
                bridge->DeviceInterface()->ProcessAuthCode(code.c_str());
        });
        Live(6);
        Call([&] { m_system->Pages().Open(Account()->BridgeID(), *Account()); });
        Live(6);
        Call([&] {
            auto page = m_system->Pages().Open(Account()->BridgeID(), *Account());
            page->Store(*Account(), {{2001, 0}});
        });
        Live(20); // discovery and polls
        Call([&] {
            m_system->Security().SetUser(3, {"Ann", "ann@x.example", "1234"});
            m_system->NotifyWrite();
            if (CPortivo* lock = Account()->FindDoorLock("front"))
                lock->EnableUser(4, 1);
            m_system->AnnounceUserSlot(3);
        });
        Call([&] {
            if (CPortivo* lock = Account()->FindDoorLock("front"))
                lock->ExecuteCommand(1271, 4);
        });
        Live(35);
    }
    bool Unlocked()
    {
        CPortivo* lock = Account() ? Account()->FindDoorLock("front") : nullptr;
        return lock && lock->State() == CDoorLock::STATE_UNSECURED;
    }
    std::size_t Persons() const { return m_model.CurrentWorld().persons.size(); }

    // The host's process has ended, in whatever order; what it has stored is loaded by the next one.
    void Restart(bool orderly)
    {
        if (orderly) {
            EXPECT_EQ(m_system->Stop(), "");
        }
        const std::optional<std::string> stored = m_store.text;
        m_system.reset();
        m_store.text = stored;
        if (stored) {
            EXPECT_EQ(devhost::Configuration::FindFault(*stored).value_or(""), "");
        }
        Start();
        EXPECT_FALSE(m_system->Saving().damaged);
    }

private:
    struct PassEnded {
    };

    void Start()
    {
        devhost::System::Options options;
        options.plugins = {support::DriverEntryPoints()};
        options.store = &m_store;
        options.workers = false;
        m_system = std::make_unique<devhost::System>(std::move(options));
        m_system->Start();
    }
    CVestaraInterface* Account()
    {
        return m_system->NBridges() ? dynamic_cast<CVestaraInterface*>(m_system->Bridge(0)->DeviceInterface())
                                    : nullptr;
    }
    template <class Step>
    void Call(Step step)
    {
        for (int attempt = 0; attempt < 2; ++attempt) {
            const May fail(true);
            try {
                step();
                return;
            } catch (const std::bad_alloc&) {
            }
        }
        ADD_FAILURE() << "only one allocation fails";
    }
    void Live(int seconds)
    {
        for (int pass = 0; pass < seconds * 10; ++pass) {
            const May fail(true);
            if (CVestaraInterface* account = Account()) {
                try {
                    account->Run();
                } catch (const PassEnded&) {
                } catch (const std::bad_alloc&) { // the host starts the worker's loop again
                }
            }
            m_system->RunOnce();
        }
    }
    std::string Browse(const std::string& url)
    {
        const May spare(false);
        const std::size_t host = url.find("://") + 3;
        cloudsim::Request request;
        request.method = "GET";
        request.target = url.substr(url.find('/', host));
        request.headers = {{"Host", "127.0.0.1"}, {"Accept", "text/html"}};
        const cloudsim::Response reply = m_model.Handle(request, Now());
        for (const auto& header : reply.headers) {
            if (header.name == "Location")
                return header.value;
        }
        return "";
    }
    static std::string Field(const std::string& url, const std::string& name)
    {
        const std::size_t at = url.find(name + "=");
        const std::size_t begin = at + name.size() + 1;
        return at == std::string::npos ? "" : url.substr(begin, url.find_first_of("&#", begin) - begin);
    }
    static cloudsim::TimePoint Now()
    {
        return cloudsim::TimePoint(std::chrono::seconds(support::ManualClock::CalendarS()));
    }
    static cloudsim::Options AtOnce()
    {
        cloudsim::Options options;
        options.autoApprove = true;
        return options;
    }

    void Sleep(std::chrono::milliseconds time) override
    {
        m_clock.Advance(static_cast<std::uint64_t>(time.count()));
        const May spare(false);
        m_model.Advance(Now());
        if (time == std::chrono::milliseconds(100))
            throw PassEnded();
    }
    struct Line : devhost::Connection {
        explicit Line(Session& session) : owner(session) {}
        std::optional<devhost::HttpReply> Exchange(std::string_view request) override
        {
            std::string reply;
            {
                const May spare(false);
                reply = owner.m_model.HandleRaw(request, Now());
            }
            devhost::HttpReplyReader reader;
            reader.Feed(reply);
            if (reader.EndOfStream() != devhost::HttpReplyReader::State::Complete)
                return std::nullopt;
            return reader.Take();
        }
        Session& owner;
    };
    std::unique_ptr<devhost::Connection> Connect(const std::string&, int, std::chrono::milliseconds) override
    {
        return std::make_unique<Line>(*this);
    }

    support::ManualClock m_clock;
    devhost::DiagnosticLog m_log{{}};
    devhost::MemoryStore m_store;
    cloudsim::Cloud m_model{cloudsim::LoadWorld(kHouse, Now()), AtOnce(), cloudsim::SeededRandom(1)};
    std::unique_ptr<devhost::System> m_system;
};

} // namespace

TEST(AllocationTest, EachOfASessionFailsOnceAndTheHostGoesOnOrEndsWithWhatItStoredWhole)
{
    allocation::Fail(0);
    {
        Session whole;
        whole.Play();
        EXPECT_TRUE(whole.Unlocked());
        EXPECT_EQ(whole.Persons(), 2u) << "Dan and Ann";
    }
    const auto all = allocation::Made();
    ASSERT_GT(all, 1000);
    int ended = 0;
    int without = 0;
    for (std::int64_t which = 1; which <= all; which += ALLOCATION_STRIDE) {
        SCOPED_TRACE(which);
        RecordProperty("allocation", static_cast<int>(which));
        allocation::Fail(which);
        Session session;
        bool alive = true;
        try {
            session.Play();
        } catch (const std::bad_alloc&) {
            alive = false;
        }
        EXPECT_TRUE(allocation::HasFailed()) << "it was reached";
        ended += alive ? 0 : 1;
        without += alive && !session.Unlocked() ? 1 : 0;
        session.Restart(alive);
        if (testing::Test::HasFailure())
            break;
    }
    std::cout << all << " allocations, every " << ALLOCATION_STRIDE << " of them failed: " << ended
              << " ended the host, after " << without << " the door was not unlocked\n";
}
