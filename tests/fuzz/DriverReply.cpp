// Replies to every command of the driver, and what they leave: a line with the command's number, and the JSON
// of the reply; more of them behind a line feed.

#include "devhost/framework/network/RequestCheck.h"
#include "tests/fuzz/Host.h"

#include <set>

using fuzz::Require;

namespace
{

void CheckPersons(CVestaraInterface& account)
{
    std::set<int> slots;
    int last = -1;
    bool loose = false;
    for (const auto& person : CVestaraInterfaceProbe(account).AccessPersons().All()) {
        const int slot = person->Index();
        Require(slot >= -1 && slot < 30, "slots are there");
        if (slot < 0) {
            loose = true;
            continue;
        }
        Require(!loose && slot >= last, "persons with slots stand in front, in order");
        Require(slots.insert(slot).second, "each slot has one person");
        last = slot;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::Host host;
    CVestaraInterface& account = host.AddFullAccount();
    std::string_view rest = fuzz::Text(data, size);
    for (int n = 0; n < 8 && !rest.empty(); ++n) {
        const auto command =
            static_cast<CommandID>(std::atoi(std::string(fuzz::TakeUntil(rest, ' ')).c_str()));
        const std::string_view reply = fuzz::TakeUntil(rest, '\n');
        auto tree = devhost::ParseJson(reply);
        if (!tree)
            continue;
        auto answered = std::make_unique<CVestaraCommand>(
            METHOD_READ, command, "loc-1", "front", command == CMD_ACCESS_PERSON_CREATE ? "4" : "p-ben", "a");
        answered->Response(tree.release());
        account.AddResponse(std::move(answered));
        host.m_clock.Advance(1000);
        while (auto next = account.NextResponse())
            account.ProcessResponse(std::move(next));
        CheckPersons(account);
        CPortivo* front = account.FindDoorLock("front");
        Require(front && front->State() >= CDoorLock::STATE_UNKNOWN &&
                    front->State() <= CDoorLock::STATE_IN_TRANSIT,
                "the lock is there and has a state");
    }
    // What they have queued can be sent: no text of theirs gets out of its place in a request.
    while (auto next = account.NextCommand())
        account.SendCommand(std::move(next));
    host.Saved();
    return 0;
}
