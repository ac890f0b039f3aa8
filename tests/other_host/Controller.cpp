// The rest of the small host: bridges, bases, pages, servers, the exchange and the turns of its two threads.

#include "Controller.h"

#include "host/DeviceInterface.h"
#include "host/Platform.h"
#include "host/Servers.h"
#include "host/System.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <utility>

using other_host::g_controller;

namespace other_host
{

Controller g_controller;

void Controller::StartWorker()
{
    bridge->bridge->shuttingDown = false;
    worker = std::thread([this] {
        workersTurn.acquire();
        bridge->DeviceInterface()->Run();
        loopsTurn.release();
    });
}

void Controller::StopWorker()
{
    bridge->bridge->shuttingDown = true;
    workersTurn.release();
    loopsTurn.acquire();
    worker.join();
}

void Controller::Round()
{
    clockMs += 100;
    workersTurn.release();
    loopsTurn.acquire();
    bridge->DeviceInterface()->OnInterfaceIdle();
    // By index, because a component may go with any call.
    CSystemFamily* family = CSystem::Instance()->FamilyByFamily(25);
    for (int i = 0; CSystemComponent* component = family->Component(i); ++i)
        component->OnComponentIdle();
}

} // namespace other_host

// The worker's only: the main loop never sleeps.
void Sleep(unsigned milliseconds)
{
    const long long untilMs = g_controller.clockMs + milliseconds;
    while (g_controller.clockMs < untilMs && !g_controller.bridge->ShuttingDown()) {
        g_controller.loopsTurn.release();
        g_controller.workersTurn.acquire();
    }
}

int SetMainLoopTrigger() { return ++g_controller.triggers; }

struct CTraceProducer::Own {
    std::string name;
    bool on = false;
};
CTraceProducer::CTraceProducer() : trace(std::make_unique<Own>()) {}
CTraceProducer::~CTraceProducer() = default;
void CTraceProducer::Trace(CQXString line) { Trace(static_cast<const char*>(line)); }
void CTraceProducer::Trace(const char* line)
{
    std::printf("%8lld %s: %s\n", g_controller.clockMs, trace->name.c_str(), line);
}
CQXString CTraceProducer::FormatLine(const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    const std::string line = other_host::Formatted(format, arguments);
    va_end(arguments);
    return line.c_str();
}
int CTraceProducer::TraceName(CQXString name)
{
    return std::exchange(trace->name, std::string(name)) != std::string(name);
}
int CTraceProducer::TraceEnabled() const { return trace->on; }

CTraceServer* CTraceServer::Instance()
{
    static CTraceServer server;
    return &server;
}
void CTraceServer::LoadStateFor(CTraceProducer* producer) { producer->trace->on = true; }

void AssertWrap(const char* source, int number, const char* message)
{
    g_controller.reports.push_back(std::string(source) + ' ' + std::to_string(number) + ' ' + message);
}

CHTTPConnectionSSL::CHTTPConnectionSSL(int /*method*/) {}
CHTTPConnectionSSL::~CHTTPConnectionSSL() = default;
int CHTTPConnectionSSL::CreateConnection(const char* name, int port, int /*timeoutMs*/, int /*reserved*/)
{
    host = name;
    return port == 443;
}

CHTMLPage* DoHTTPExchangeWithConnection(CHTTPConnectionSSL* connection, const CQXString& request,
                                        const CQXString& /*extra*/, int /*reserved1*/, int /*reserved2*/)
{
    const std::string reply = g_controller.cloud(std::string(connection->host), std::string(request));
    return std::make_unique<CHTMLPage>(reply.c_str()).release();
}

CHTMLPage::CHTMLPage(CQXString reply) : m_reply(reply) {}
CHTMLPage::~CHTMLPage() = default;
void CHTMLPage::ParseResponseCode(int* code, CQXString* text) const
{
    const char* status = std::strchr(m_reply, ' ');
    *code = std::atoi(status);
    *text = std::string(status, std::strcspn(status, "\r")).c_str();
}
const char* CHTMLPage::Data() const { return m_reply; }
int CHTMLPage::NBytes() const { return m_reply.GetLength(); }
CJSONObject* CHTMLPage::HTMLPageToJSON(CHTMLPage*& page)
{
    const std::unique_ptr<CHTMLPage> taken(std::exchange(page, nullptr));
    const char* body = std::strstr(taken->Data(), "\r\n\r\n") + 4;
    return *body ? other_host::Parsed(body).release() : nullptr;
}

CQXString OAuthRedirectURI(OAUTH_REDIRECT_SCHEMA schema)
{
    return schema == OAUTH_REDIRECT_LEGACY ? "https://relay.example/back" : "https://controller.example/back";
}

CGeneralCommThread::CGeneralCommThread() : traffic(std::make_unique<Own>()) {}
CGeneralCommThread::~CGeneralCommThread() = default;
void CGeneralCommThread::AddNBytesSent(int bytes) { traffic->bytesSent += bytes; }
void CGeneralCommThread::AddNSends(int sends) { traffic->sends += sends; }
void CGeneralCommThread::AddNBytesReceived(int bytes) { traffic->bytesReceived += bytes; }
void CGeneralCommThread::AddNReceives(int receives) { traffic->receives += receives; }

CPropertyUpdateDelegate::~CPropertyUpdateDelegate() = default;
CActionButtonHandler::~CActionButtonHandler() = default;

CSystemProperty::CSystemProperty(int id) : state(std::make_unique<Own>()) { state->id = id; }
CSystemProperty::~CSystemProperty() = default;
int CSystemProperty::ID() const { return state->id; }
void CSystemProperty::Value(CQXString value) { state->value = std::string(value); }
void CSystemProperty::AddChoice(CQXString name, int /*index*/) { state->choices.emplace_back(name); }
void CSystemProperty::SelectChoice(int index) { state->selected = index; }
int CSystemProperty::SelectedIndex() const { return state->selected; }
void CSystemProperty::UpdateDelegate(CPropertyUpdateDelegate* /*delegate*/) {} // no page is refreshed here

CPropertySet::CPropertySet() : state(std::make_unique<Own>()) {}
CPropertySet::~CPropertySet() = default;
CSystemProperty* CPropertySet::AddTextProperty(CQXString label, CQXString value, int id, int flags)
{
    CSystemProperty* added = AddMultiProperty(label, -1, id, flags);
    added->Value(value);
    return added;
}
CSystemProperty* CPropertySet::AddMultiProperty(CQXString /*label*/, int selected, int id, int /*flags*/)
{
    state->properties.push_back(std::make_unique<CSystemProperty>(id));
    state->properties.back()->SelectChoice(selected);
    return state->properties.back().get();
}
CSystemProperty* CPropertySet::Property(int id) const
{
    for (const auto& property : state->properties)
        if (property->ID() == id)
            return property.get();
    return nullptr;
}
void CPropertySet::SetAttribBits(int /*id*/, int /*bits*/) {} // its pages have none of these properties
int CPropertySet::DeleteAction(int /*id*/) { return 0; }

CDeviceInterfaceDef::CDeviceInterfaceDef(int itsType, CQXString itsName, int /*reserved*/, int itsFlags)
    : name(itsName), type(itsType), flags(itsFlags)
{
}
CDeviceInterfaceDef::~CDeviceInterfaceDef() = default;
int CDeviceInterfaceDef::Type() const { return type; }
CSystemComponentDef::CSystemComponentDef(CStringBlock* /*block*/, int itsType, CQXString itsName,
                                         CQXString /*secondName*/, int itsFlags, int /*reserved*/)
    : flags(itsFlags), name(itsName), type(itsType)
{
}
CSystemComponentDef::~CSystemComponentDef() = default;
int CSystemComponentDef::Type() const { return type; }

CBridge::CBridge(int type) : bridge(std::make_unique<Own>()) { bridge->type = type; }
CBridge::~CBridge() = default;
int CBridge::InterfaceType() const { return bridge->type; }
CDeviceInterface* CBridge::DeviceInterface() const { return bridge->interface; }
CQXString CBridge::Name() const { return bridge->name.c_str(); }
void CBridge::Name(CQXString name) { bridge->name = std::string(name); }
CNetworkBridge::~CNetworkBridge() = default;
int CNetworkBridge::ShuttingDown() const { return bridge->shuttingDown; }

CBridgeClient::CBridgeClient(int /*type*/, int /*reserved*/) : client(std::make_unique<Own>()) {}
CBridgeClient::~CBridgeClient() = default;
int CBridgeClient::WriteClientData(CQXFile* file, int /*version*/)
{
    return file->WriteString(client->deviceId.c_str()) && file->WriteInt(static_cast<int>(client->bridgeId));
}
int CBridgeClient::ReadClientData(CQXFile* file, int /*version*/)
{
    CQXString deviceId;
    int bridgeId = 0;
    if (!file->ReadString(&deviceId) || !file->ReadInt(&bridgeId))
        return 0;
    DeviceID(deviceId);
    BridgeID(static_cast<unsigned>(bridgeId));
    return 1;
}
unsigned CBridgeClient::BridgeID() const { return client->bridgeId; }
void CBridgeClient::BridgeID(unsigned id) { client->bridgeId = id; }
CQXString CBridgeClient::DeviceID() const { return client->deviceId.c_str(); }
void CBridgeClient::DeviceID(CQXString id) { client->deviceId = std::string(id); }
CBridge* CBridgeClient::Bridge() const { return client->bridge; }
void CBridgeClient::SetBridge(CBridge* bridge) { client->bridge = bridge; }

CDeviceInterface::CDeviceInterface(CDeviceInterfaceDef* definition) : CBridgeClient(definition->Type(), 0) {}
CDeviceInterface::~CDeviceInterface() = default;
void CDeviceInterface::IFaceDoPropertyExchange(CPropertySet* /*set*/, PROPERTYSET_DDX /*ddx*/) {}
int CDeviceInterface::WriteClientData(CQXFile* file, int version)
{
    return file->WriteInt(flags) && CBridgeClient::WriteClientData(file, version);
}
int CDeviceInterface::ReadClientData(CQXFile* file, int version)
{
    return file->ReadInt(&flags) && CBridgeClient::ReadClientData(file, version);
}
CNetworkBridge* CDeviceInterface::NetworkBridge() const { return network; }
int CDeviceInterface::Flags() const { return flags; }
void CDeviceInterface::SetFlagBits(int bits) { flags |= bits; }

struct CDeviceNetwork::Own {
    std::vector<CBridgeClient*> clients;
};
CDeviceNetwork::CDeviceNetwork(CDeviceInterfaceDef* definition, int /*reserved1*/, unsigned /*reserved2*/)
    : CDeviceInterface(definition), m_clients(std::make_unique<Own>())
{
}
CDeviceNetwork::~CDeviceNetwork() = default;
int CDeviceNetwork::NClients() const { return static_cast<int>(m_clients->clients.size()); }
CBridgeClient* CDeviceNetwork::Client(int i) const
{
    return i >= 0 && i < NClients() ? m_clients->clients[static_cast<std::size_t>(i)] : nullptr;
}
void CDeviceNetwork::AddClient(CBridgeClient* joining) { m_clients->clients.push_back(joining); }
void CDeviceNetwork::RemoveClient(CBridgeClient* leaving) { std::erase(m_clients->clients, leaving); }

CSystemComponent::CSystemComponent(CSystemComponentDef* definition) : component(std::make_unique<Own>())
{
    component->type = definition->Type();
}
CSystemComponent::~CSystemComponent() = default;
int CSystemComponent::WriteData(CQXFile* file, int /*version*/)
{
    return file->WriteString(Name()) && file->WriteInt(static_cast<int>(component->id));
}
int CSystemComponent::ReadData(CQXFile* file, int /*version*/)
{
    CQXString name;
    int id = 0;
    if (!file->ReadString(&name) || !file->ReadInt(&id))
        return 0;
    Name(name);
    ID(static_cast<unsigned>(id));
    return 1;
}
void CSystemComponent::OnComponentInit() {}
void CSystemComponent::OnPostSystemInit() {}
void CSystemComponent::RegisterEventServer() {}
int CSystemComponent::UnInstall()
{
    component->installed = false;
    return 1;
}
void CSystemComponent::Install() { component->installed = true; }
unsigned CSystemComponent::ID() const { return component->id; }
void CSystemComponent::ID(unsigned id) { component->id = id; }
CQXString CSystemComponent::Name() const { return component->name.c_str(); }
void CSystemComponent::Name(CQXString name) { component->name = std::string(name); }
int CSystemComponent::ComponentType() const { return component->type; }
void CSystemComponent::SetComponentFlagBits(unsigned bits) { component->flags |= bits; }

CDoorLock::CDoorLock(CSystemComponentDef* definition)
    : CSystemComponent(definition), lock(std::make_unique<Own>())
{
}
CDoorLock::~CDoorLock() = default;
int CDoorLock::WriteData(CQXFile* file, int version)
{
    return CSystemComponent::WriteData(file, version) && file->WriteInt(lock->state);
}
int CDoorLock::ReadData(CQXFile* file, int version)
{
    return CSystemComponent::ReadData(file, version) && file->ReadInt(&lock->state);
}
int CDoorLock::UnInstall() { return CSystemComponent::UnInstall(); }
void CDoorLock::OnPostSystemInit() {}
void CDoorLock::RegisterEventServer() {}
void CDoorLock::RegisterErrorState(CQXString error) { lock->error = std::string(error); }
void CDoorLock::RegisterUnknownState() { lock->state = STATE_UNKNOWN; }
void CDoorLock::RegisterWorking(int working)
{
    lock->working = working;
    if (working)
        m_tmrWorking.Restart();
}
void CDoorLock::RegisterLockUnsecured(int user)
{
    if (std::exchange(lock->state, static_cast<int>(STATE_UNSECURED)) != STATE_UNSECURED) {
        m_bWriteStatePending = true;
        m_tmrWriteState.Restart();
    }
    lock->user = user > 1 ? user : lock->user;
    lock->working = 0;
}
void CDoorLock::RegisterLockSecured(int /*user*/)
{
    lock->state = STATE_SECURED;
    lock->working = 0;
}
void CDoorLock::RegisterProgressTime(unsigned /*seconds*/) {}
void CDoorLock::RegisterProgress(int /*percent*/) {}
void CDoorLock::RegisterSignalStrength(int level) { lock->signal = level; }
void CDoorLock::RegisterBatteryLevel(int percent) { lock->battery = percent; }
int CDoorLock::State() const { return lock->state; }
int CDoorLock::Working() const { return lock->working; }
int CDoorLock::BatteryLevel() const { return lock->battery; }
int CDoorLock::UserCodesEnabled() const { return lock->userCodes; }
void CDoorLock::EnableUserCodes(int enabled) { lock->userCodes = enabled; }
int CDoorLock::IsUserEnabled(int user) const { return lock->enabledUser == user; }
CQXString CDoorLock::SignalStrengthText() const { return CQXString::IntegerToString(lock->signal); }
void CDoorLock::RegisterUnlockCommand(int user) { lock->commandUser = user; }
void CDoorLock::WriteState() { ++lock->writes; }
void CDoorLock::RemoteLock(int /*remote*/) {}
void CDoorLock::LockState(int state) { lock->state = state; }

CIDServer* CIDServer::Instance()
{
    static CIDServer server;
    return &server;
}
unsigned CIDServer::NewID() { return ++g_controller.lastId; }
CEventServer* CEventServer::Instance()
{
    static CEventServer server;
    return &server;
}
int CEventServer::DeleteAllByOwner(unsigned /*owner*/) { return 1; }
int CUser::ID() const { return 52; }
CQXString CUser::PIN_DoorLock() const { return "2468"; }
CQXString CUser::Name() const { return "Ann"; }
CQXString CUser::Email() const { return ""; }
void CTabLayoutManager::AppendAllTabID(unsigned /*component*/, int /*reserved*/) {}
CSecurityServer* CSecurityServer::Instance()
{
    static CSecurityServer server;
    return &server;
}
CUser* CSecurityServer::GetUserAtDoorLockSlot(int slot)
{
    static CUser user;
    return slot >= 0 && slot == g_controller.userSlot ? &user : nullptr;
}
CTabLayoutManager* CSecurityServer::TabLayoutManager()
{
    static CTabLayoutManager manager;
    return &manager;
}
void CSecurityServer::Update() {}

CSystemComponent* CSystemFamily::Component(int i)
{
    return i >= 0 && i < NComponents(COMPONENT_FILTER_ALL)
               ? g_controller.components[static_cast<std::size_t>(i)].get()
               : nullptr;
}
int CSystemFamily::NComponents(COMPONENT_FILTER_TYPE /*filter*/)
{
    return static_cast<int>(g_controller.components.size());
}
CSystemComponent* CSystemFamily::AddNewComponent(int type, CQXString name, FACTORY_MODE /*mode*/,
                                                 CQXFile* /*file*/, QXT_SYSCONFIG_CHANGE_SRC* /*source*/)
{
    CSystemComponent* added = g_controller.createComponent(type);
    added->Name(name);
    g_controller.components.emplace_back(added);
    return added;
}
void CSystemFamily::DeleteComponent(CSystemComponent* removed, QXT_SYSCONFIG_CHANGE_SRC* /*source*/)
{
    std::erase_if(g_controller.components,
                  [removed](const auto& component) { return component.get() == removed; });
}
void CSystemFamily::OnComponentAutoInstall(CSystemComponent* /*component*/) {}

CSystem* CSystem::Instance()
{
    static CSystem system;
    return &system;
}
CSystemFamily* CSystem::FamilyByFamily(int family)
{
    static CSystemFamily locks;
    return family == 25 ? &locks : nullptr;
}
CDoorLock* CSystem::DoorLock(int i) { return dynamic_cast<CDoorLock*>(FamilyByFamily(25)->Component(i)); }
int CSystem::NDoorLock(COMPONENT_FILTER_TYPE filter) { return FamilyByFamily(25)->NComponents(filter); }
CBridge* CSystem::Bridge(int i) { return i == 0 ? g_controller.bridge.get() : nullptr; }
int CSystem::NBridges() { return g_controller.bridge ? 1 : 0; }
CQXString CSystem::GetOAuthState(unsigned bridge)
{
    return bridge ? ("state-" + std::to_string(bridge)).c_str() : "";
}
void CSystem::NotifyWrite() { ++g_controller.saves; }
void CSystem::NotifyConfigChanged(const char* /*source*/, int /*line*/) {}
void CSystem::NotifyInterfaceChanged() {}
void CSystem::OnSystemExit1(const char* /*source*/, int /*line*/, int /*reserved*/)
{
    g_controller.StopWorker();
    ++g_controller.restarts;
}
void CSystem::OnSystemInit() { g_controller.bridge->DeviceInterface()->OnInterfaceInit(); }
void CSystem::OnPostSystemInit() { g_controller.StartWorker(); }
