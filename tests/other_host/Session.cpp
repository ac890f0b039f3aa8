// One session of a library that was built against the headers in host/, checked at each step.
// Argument: the library. Exit status: 1 with a message at the first difference.

#include "Controller.h"

#include "host/DeviceInterface.h"
#include "host/QXList.h"
#include "host/Servers.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <iostream>
#include <sstream>
#include <utility>

using other_host::g_controller;

namespace
{

constexpr unsigned kBridgeId = 7;
constexpr int kVersion = 1461;
constexpr int kLockFamily = 25;
constexpr int kUserSlot = 4;
// What a turn without a refresh token says.
constexpr char kNoToken[] = "vestarai 729 Refresh Token is Empty - cannot re-authenticate";
using Row = std::vector<std::variant<int, std::string>>;

std::vector<std::string> g_requests; // host, line and body of each that was not looked at yet
std::string g_lockState = "locked";

template <class Value>
std::string Shown(const Value& value)
{
    std::ostringstream text;
    if constexpr (requires { value.begin()->index(); })
        for (const auto& item : value)
            std::visit([&text](const auto& it) { text << '[' << it << "] "; }, item);
    else if constexpr (
        requires { value->c_str(); } || requires { value.front().c_str(); })
        for (const auto& item : value)
            text << "\n  " << item;
    else
        text << value;
    return text.str();
}

// Ends the program at once: the worker may be waiting.
template <class Value>
void Expect(const char* what, const Value& actual, const std::type_identity_t<Value>& expected)
{
    if (actual == expected)
        return;
    std::cout << std::flush;
    std::cerr << what << ": " << Shown(actual) << "\nexpected: " << Shown(expected) << std::endl;
    std::_Exit(1);
}

std::string TimeAMinuteAgo()
{
    const std::time_t then = std::time(nullptr) - 60;
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", std::gmtime(&then));
    return text;
}

std::string Device()
{
    return R"({"id": "lock-1", "type": "lock", "attributes": {"name": "Front door", "location_id": "house-2",
        "power_level": 80, "heartbeat_interval": 3600, "wifi_level": 3, "serial_number": "S-77",
        "programming_code": "123456", "alive": true, "updated_at": "x", "state": ")" +
           g_lockState + R"(", "connected_at": ")" + TimeAMinuteAgo() + "\"}}";
}

std::string Body(const std::string& target)
{
    if (target == "POST /oauth/token")
        return R"({"access_token": "access-1", "refresh_token": "refresh-1", "expires_in": 7200})";
    if (target == "GET /locations")
        return R"({"data": [{"id": "house-1", "type": "location", "attributes": {"name": "Town"}},
            {"id": "house-2", "type": "location", "attributes": {"name": "Lake"}}], "meta": {}})";
    if (target == "GET /devices")
        return R"({"data": [)" + Device() + R"(], "meta": {}})";
    if (target.starts_with("PUT /devices/lock-1/"))
        return R"({"data": )" + Device() + "}";
    if (target == "GET /access_persons")
        return R"({"data": [], "meta": {}})";
    if (target == "POST /access_persons")
        return R"({"data": {"id": "person-1", "type": "access_user",
            "attributes": {"name": "Ann", "pin": "2468", "email": null}}})";
    if (target == "POST /access_persons/person-1/accesses")
        return R"({"data": {"id": "access-9", "type": "access_person_access",
            "attributes": {"accessible_id": "lock-1", "access_person_id": "person-1"}}})";
    return "";
}

std::string Answer(const std::string& host, const std::string& request)
{
    const std::string target = request.substr(0, request.find(" HTTP/1.1\r\n"));
    const std::size_t head = request.find("\r\n\r\n");
    const bool isToken = host == "oauth.vestara.example";
    const bool isApi =
        host == "api.vestara.example" && request.find("\r\nAuthorization: Bearer access-1\r\n") < head;
    std::string body = request.substr(head + 4);
    body.erase(body.find_last_not_of("\r\n") + 1);
    g_requests.push_back(target + (body.empty() ? "" : ' ' + body));
    const std::string reply = isToken || isApi ? Body(target) : "";
    return (reply.empty() ? "HTTP/1.1 404 Not Found\r\n\r\n" : "HTTP/1.1 200 OK\r\n\r\n") + reply;
}

void ExpectRequests(const char* what, const std::vector<std::string>& expected)
{
    for (int i = 0; i < 200 && g_requests.size() < expected.size(); ++i)
        g_controller.Round();
    // The reply to the last one, and what it leads to at once.
    for (int i = 0; i < 3; ++i)
        g_controller.Round();
    Expect(what, std::exchange(g_requests, {}), expected);
}

template <class Function>
Function* EntryPoint(void* library, const char* name)
{
    auto* found = reinterpret_cast<Function*>(dlsym(library, name));
    Expect(name, found != nullptr, true);
    return found;
}

// The library, and what it contributed.
struct Plugin {
    explicit Plugin(const char* path);
    void* library;
    CDeviceInterface* (*createInterface)(CDeviceInterfaceDef*);
    CSystemComponent* (*createComponent)(CSystemComponentDef*);
    std::unique_ptr<CDeviceInterfaceDef> interfaceDefinition;
    std::unique_ptr<CSystemComponentDef> componentDefinition;
};

void* Loaded(const char* path)
{
    void* library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    Expect("loading", library ? "" : std::string(dlerror()), "");
    Expect("DllMain", EntryPoint<int(int, unsigned, void*)>(library, "_Z7DllMainijPv")(0, 1, nullptr), 1);
    Expect("signature", EntryPoint<unsigned()>(library, "GetLibSignature")(), 0x08000090u);
    return library;
}

Plugin::Plugin(const char* path)
    : library(Loaded(path)),
      createInterface(EntryPoint<CDeviceInterface*(CDeviceInterfaceDef*)>(library, "CreateDeviceInterface")),
      createComponent(EntryPoint<CSystemComponent*(CSystemComponentDef*)>(library, "CreateSystemComponent"))
{
    CQXObList interfaces;
    CQXObList components;
    EntryPoint<void(void*, CQXObList*)>(library, "LoadDeviceInterfaces")(nullptr, &interfaces);
    const auto load = EntryPoint<void(CStringBlock*, int, CQXObList*)>(library, "LoadSystemComponentDefs");
    load(nullptr, kLockFamily - 1, &components);
    Expect("definitions for another family", components.GetCount(), 0);
    load(nullptr, kLockFamily, &components);
    interfaceDefinition.reset(static_cast<CDeviceInterfaceDef*>(interfaces.RemoveHead()));
    componentDefinition.reset(static_cast<CSystemComponentDef*>(components.RemoveHead()));
    Expect("definitions left", interfaces.GetCount() + components.GetCount(), 0);
    Expect("interface flags", interfaceDefinition->flags, 0x0E104204);
    Expect("component name", std::string(componentDefinition->name), "Vestara Portivo");
    CSystemComponentDef foreign(nullptr, 1, "", "", 0, 0);
    Expect("component of a foreign definition", createComponent(&foreign) != nullptr, false);
}

std::string Status(CDeviceInterface* account, CPropertySet* page)
{
    account->IFaceDoPropertyExchange(page, PROPERTYSET_DDX_BUILD);
    account->IFaceDoPropertyExchange(page, PROPERTYSET_DDX_MARK);
    return page->Property(2000)->state->value;
}

void LoadRecord(CDeviceInterface* account)
{
    CQXFile record;
    record.items->row = Row{0x100, "", int{kBridgeId}, "", "", "", "", 1, OAUTH_REDIRECT_LEGACY};
    Expect("reading the record", account->ReadClientData(&record, kVersion), 1);
    Expect("bridge's name", g_controller.bridge->bridge->name, "Vestara Interface");
    Expect("flags", account->Flags(), 0x100 | 0x4000 | 0x4000000);
}

void Authorise(CDeviceInterface* account, CActionButtonHandler* buttons)
{
    CPropertySet page;
    Expect("status before", Status(account, &page), "[ Authorization Needed ]");
    const std::string address(buttons->GetActionURL(20002));
    Expect("authorize address", address.substr(address.find("&response_type")),
           "&response_type=code&redirect_uri=https://relay.example/back&state=state-7");
    account->ProcessAuthCode("code-1");
    for (int i = 0; i < 200 && g_requests.empty(); ++i)
        g_controller.Round();
    const std::string form = g_requests.empty() ? "" : std::exchange(g_requests, {}).front();
    Expect("token request's head", form.substr(0, form.find("&client_id")), "POST /oauth/token code=code-1");
    Expect("token request's end", form.substr(form.find("&redirect_uri")),
           "&redirect_uri=https://relay.example/back&grant_type=authorization_code");
    Expect("reports", std::exchange(g_controller.reports, {}), {kNoToken});
    Expect("saves asked for", g_controller.saves > 0, true);
}

void ChooseHouse(CDeviceInterface* account)
{
    CPropertySet first;
    Expect("status after", Status(account, &first), "[ Discovering... ]");
    ExpectRequests("requests for a page", {"GET /locations"});
    CPropertySet page;
    Expect("status with houses", Status(account, &page), "Select Location");
    CSystemProperty* house = page.Property(2001);
    Expect("houses", house->state->choices, {"Town", "Lake"});
    Expect("house before", house->SelectedIndex(), -1);
    house->SelectChoice(1);
    account->IFaceDoPropertyExchange(&page, PROPERTYSET_DDX_STORE);
    // Discovery and houses for the choice, the polls because they were due.
    ExpectRequests("requests for a choice",
                   {"GET /devices", "GET /locations", "GET /devices", "GET /access_persons"});
    Expect("bridge's name", g_controller.bridge->bridge->name, "Vestara Interface (Lake)");
}

CDoorLock* DiscoveredLock(CDeviceNetwork* account)
{
    Expect("components", g_controller.components.size(), 1u);
    auto* lock = dynamic_cast<CDoorLock*>(g_controller.components.front().get());
    auto* client = dynamic_cast<CBridgeClient*>(lock);
    Expect("a lock, and a client", lock && client, true);
    Expect("clients", account->NClients(), 1);
    Expect("the client", account->Client(0), client);
    Expect("its generation", client->Generation(), 2);
    Expect("its bridge", client->Bridge(), g_controller.bridge.get());
    Expect("its ids", client->client->deviceId + ' ' + std::to_string(lock->ID()), "lock-1 1");
    Expect("name", lock->component->name, "Front door");
    Expect("installed", lock->component->installed, true);
    Expect("component flags", lock->component->flags, 1u << 30 | 1u << 28);
    Expect("state", lock->State(), CDoorLock::STATE_SECURED);
    Expect("battery and signal", lock->lock->battery * 10 + lock->lock->signal, 803);
    CQXMSG page;
    lock->GetExtendedConfig(&page);
    Row row = page.items->row;
    row.resize(7);
    Expect("lock's page", row,
           Row{0x804 | 0x1008 | 0x2010 | 0x20000 | 0x40000, "Serial Number", "S-77", "Programming Code",
               "123456", "WiFi Strength", "3"});
    return lock;
}

void GiveAccess(CDoorLock* lock)
{
    g_controller.userSlot = kUserSlot;
    lock->lock->enabledUser = CUser().ID();
    Expect("slot taken", lock->SendHardwareSlotConfig(kUserSlot, nullptr), 1);
    // Without persons the polls are brought forward.
    ExpectRequests("requests for a user",
                   {R"(POST /access_persons {"type":"access_user","attributes":{"name":"Ann","pin":"2468"}})",
                    R"(POST /access_persons/person-1/accesses )"
                    R"({"attributes":{"accessible_id":"lock-1","accessible_type":"lock"}})",
                    "GET /devices", "GET /access_persons"});
}

void Unlock(CDoorLock* lock)
{
    Expect("unlock taken", lock->ExecuteCommand(1271, kUserSlot + 1), 1);
    Expect("state", lock->State(), CDoorLock::STATE_IN_TRANSIT);
    Expect("working", lock->Working(), 1);
    ExpectRequests("unlock", {"PUT /devices/lock-1/unlock"});
    Expect("state before the heartbeat", lock->State(), CDoorLock::STATE_IN_TRANSIT);
    g_lockState = "unlocked";
    ExpectRequests("poll", {"GET /devices"});
    Expect("state", lock->State(), CDoorLock::STATE_UNSECURED);
    Expect("working", lock->Working(), 0);
    Expect("who", lock->lock->user, kUserSlot + 1 + 100);
    for (int i = 0; i < 60; ++i)
        g_controller.Round();
    Expect("state saves", lock->lock->writes, 1);
}

void SaveAndReadBack(const Plugin& plugin, CDeviceInterface* account, CDoorLock* lock)
{
    CQXFile saved;
    Expect("writing the account", account->WriteClientData(&saved, kVersion), 1);
    Expect("writing the lock", lock->WriteData(&saved, kVersion), 1);
    Expect("record", saved.items->row,
           Row{0x100 | 0x4000 | 0x4000000, "", int{kBridgeId}, "refresh-1", "access-1", "house-2", "Lake", 1,
               OAUTH_REDIRECT_LEGACY,
               // the lock
               "Front door", 1, CDoorLock::STATE_UNSECURED, "lock-1", int{kBridgeId}, 0, 30});
    const std::unique_ptr<CDeviceInterface> otherAccount(
        plugin.createInterface(plugin.interfaceDefinition.get()));
    const std::unique_ptr<CSystemComponent> otherLock(
        plugin.createComponent(plugin.componentDefinition.get()));
    Expect("reading the account", otherAccount->ReadClientData(&saved, kVersion), 1);
    Expect("reading the lock", otherLock->ReadData(&saved, kVersion), 1);
    CQXFile again;
    otherAccount->WriteClientData(&again, kVersion);
    otherLock->WriteData(&again, kVersion);
    Expect("record written again", again.items->row, saved.items->row);
}

void Reset(CDeviceNetwork* account)
{
    Expect("reports", g_controller.reports, {});
    account->Reset();
    for (int i = 0; i < 40; ++i)
        g_controller.Round();
    Expect("restarts", g_controller.restarts, 1);
    Expect("reports", std::exchange(g_controller.reports, {}), {kNoToken});
    Expect("components and clients", static_cast<int>(g_controller.components.size()) + account->NClients(),
           0);
    Expect("requests", g_requests, {});
}

} // namespace

int main(int argc, char** argv)
{
    Expect("arguments", argc, 2);
    Plugin plugin(argv[1]);
    g_controller.cloud = Answer;
    g_controller.createComponent = [&plugin](int type) {
        Expect("type", type, plugin.componentDefinition->Type());
        return plugin.createComponent(plugin.componentDefinition.get());
    };
    g_controller.bridge = std::make_unique<CNetworkBridge>(plugin.interfaceDefinition->Type());

    std::unique_ptr<CDeviceInterface> account(plugin.createInterface(plugin.interfaceDefinition.get()));
    g_controller.bridge->bridge->interface = account.get();
    account->network = g_controller.bridge.get();
    account->BridgeID(kBridgeId);
    auto* network = dynamic_cast<CDeviceNetwork*>(account.get());
    Expect("a network", network != nullptr, true);
    LoadRecord(account.get());
    account->OnInterfaceInit();
    g_controller.StartWorker();
    Authorise(account.get(), dynamic_cast<CActionButtonHandler*>(account.get()));
    ChooseHouse(account.get());
    CDoorLock* lock = DiscoveredLock(network);
    GiveAccess(lock);
    Unlock(lock);
    SaveAndReadBack(plugin, account.get(), lock);
    Reset(network);
    const auto& traffic = *g_controller.bridge->traffic;
    Expect("traffic", traffic.sends == traffic.receives && traffic.sends > 8, true);

    g_controller.StopWorker();
    for (int i = 0; i < 16; ++i)
        account->OnInterfaceIdle();
    Expect("uninstalled", account->UnInstall(), 1);
    account.reset();
    plugin.interfaceDefinition.reset();
    plugin.componentDefinition.reset();
    Expect("unloading", dlclose(plugin.library), 0);
    Expect("reports", g_controller.reports, {});
    std::cout << "the session ran through\n";
    return 0;
}
