// Messages of the configuration pages, to the account and to a lock, with items of any kind and number.

#include "devhost/framework/pages/PropertyPage.h"
#include "tests/fuzz/Host.h"

using fuzz::Require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::Host host;
    CVestaraInterface& account = host.AddFullAccount();
    for (const char* id : {"loc-1", "loc-2"})
        CVestaraInterfaceProbe(account).Locations().AddTail(new CLocationPair(id, "House"));
    std::string_view rest = fuzz::Text(data, size);
    while (!rest.empty()) {
        const std::string_view line = fuzz::TakeUntil(rest, '\n');
        CQXMSG forAccount;
        CQXMSG forLock;
        devhost::PropertyPage page;
        page.Build(account);
        devhost::PropertyPage::Values values;
        int property = 0;
        fuzz::ForEachItem(line, [&](char type, const std::string& value) {
            const int number = std::atoi(value.c_str());
            if (type == 'p') {
                property = number;
            } else if (type == 'i') {
                forAccount.PutInt(number), forLock.PutInt(number);
                values[property] = number;
            } else {
                forAccount.PutString(value.c_str()), forLock.PutString(value.c_str());
                values[property] = value;
            }
        });
        account.SetExtBridgeConfig(&forAccount);
        page.Store(account, values);
        CQXMSG shown;
        // A choice of another house takes the lock away.
        if (CPortivo* lock = account.FindDoorLock("front")) {
            lock->SetExtendedConfig(&forLock);
            lock->GetExtendedConfig(&shown);
            Require(shown.Items().size() >= 5, "a lock's page has three texts, a switch and a threshold");
        }
        account.GetExtBridgeConfig(&shown);
        host.m_system->RunOnce();
        host.m_clock.Advance(4000);
    }
    // The start names account and traces after the house.
    host.m_system->SetTraceAll(true);
    host.Restart(host.Saved());
    const std::string saved = host.Reload();
    Require(host.Reload() == saved, "what was stored by pages is what comes back");
    return 0;
}
