// Puts the development host together, runs it and takes it apart.

#include "devhost/controller/Program.h"

#include "devhost/framework/diagnostics/ExceptionText.h"
#include "devhost/framework/seams/Framework.h"

#include <cerrno>
#include <cstring>
#include <iostream>

namespace devhost
{

namespace
{

using nlohmann::json;

constexpr const char* kSignatureText = "0x08000090";
static_assert(PluginLibrary::kSignature == 0x08000090);

TlsOptions MakeTlsOptions(const Settings& Wanted)
{
    TlsOptions Result;
    Result.CaFile = Wanted.CaFile;
    if (!Result.CaFile.empty() && access(Result.CaFile.c_str(), R_OK) != 0)
        throw std::runtime_error("--ca-file " + Result.CaFile + ": " + std::strerror(errno));
    for (const std::string& Route : Wanted.ConnectTo) {
        try {
            Result.Routes.push_back(ConnectTo::Parse(Route));
        } catch (const std::invalid_argument& Error) {
            throw std::runtime_error(std::string("--connect-to ") + Error.what());
        }
    }
    return Result;
}

LogOptions MakeLogOptions(const Settings& Wanted)
{
    LogOptions Result;
    Result.FilePath = Wanted.LogFile;
    Result.cbFile = std::size_t{1'000'000} * Wanted.LogSizeMB;
    Result.nFiles = Wanted.LogFiles;
    return Result;
}

} // namespace

Program::Program(const Settings& Wanted)
    : m_Settings(Wanted), m_Log(MakeLogOptions(Wanted)), m_Folder(Wanted.StateDir),
      m_Store(m_Folder.ConfigurationFile()), m_Transport(MakeTlsOptions(Wanted))
{
    m_pServer = std::make_unique<HttpServer>(
        m_Settings.ListenAddress, m_Settings.ListenPort, [this](const ApiRequest& Request) {
            try {
                return m_Loop.Call([&] { return m_pApi->Serve(Request); });
            } catch (const LoopClosed& Closed) {
                return ErrorResponse(503, "shutting_down", Closed.what());
            }
        });
    // Before anything is loaded: a signal during the start ends the host like any other, with a save.
    m_pServer->OnSignal([this] { m_Loop.RequestExit(); });
    const bool bV6 = m_Settings.ListenAddress.find(':') != std::string::npos;
    m_Address =
        std::string("http://") + (bV6 ? "[::1]" : "127.0.0.1") + ":" + std::to_string(m_pServer->Port());
    PlugIn();
    m_pLibrary = std::make_unique<PluginLibrary>(m_Settings.Driver);
    try {
        StartSystem();
    } catch (...) {
        throw std::runtime_error(ExceptionText()); // the library's own is not good once that is unloaded
    }
}

void Program::PlugIn()
{
    Framework& The = TheFramework();
    The.pTransport = &m_Transport;
    The.pDiagnostics = &m_Log;
    The.pSleeper = &m_Sleeper;
    The.WakeMainLoop = [this] { return m_Loop.Wake(); };
    // Old configurations are registered with the host's name instead of its address.
    The.RedirectURI = [Port = m_pServer->Port(), Address = m_Address](int Schema) {
        const std::string Base =
            Schema == OAUTH_REDIRECT_LEGACY ? "http://localhost:" + std::to_string(Port) : Address;
        return Base + "/oauth/redirect";
    };
}

void Program::StartSystem()
{
    System::Options Parts;
    Parts.Plugins = {m_pLibrary->EntryPoints()};
    Parts.pStore = &m_Store;
    Parts.pObserver = this;
    m_pSystem = std::make_unique<System>(std::move(Parts));
    m_pSystem->Traces().Default(m_Settings.Trace.value_or(false));

    ConfiguratorApi::Options Api;
    Api.LibraryPath = m_pLibrary->Path().string();
    Api.Signature = kSignatureText;
    Api.Listen = m_Address;
    Api.AuthorizeBase = m_Settings.AuthorizeBase;
    Api.pLog = &m_Log;
    Api.Shutdown = [this] { m_Loop.RequestExit(); };
    Api.UsersChanged = [this] { HideUserSecrets(); };
    m_pApi = std::make_unique<ConfiguratorApi>(*m_pSystem, std::move(Api));

    m_Log.OnNewEntry([this] { m_NewLogEntry.store(true); });
    m_pSystem->Start();
    if (m_Settings.Trace)
        m_pSystem->SetTraceAll(*m_Settings.Trace);
    HideUserSecrets();
}

Program::Unplug::~Unplug()
{
    TheFramework() = {};
}

Program::~Program()
{
    // Nobody may ask any more before the objects go.
    m_Loop.Close();
    m_pServer->Stop();
}

int Program::Run()
{
    m_pServer->Start();
    PrintReady();
    int Status = 0;
    const auto Fail = [&Status](const std::string& What) {
        std::cerr << "vestara-devhost: " << What << std::endl;
        Status = 1;
    };
    try {
        m_Loop.Run([this](int nWakes) { Round(nWakes); });
    } catch (...) {
        Fail("ended by an error: " + ExceptionText());
    }
    m_Loop.Close();
    try {
        if (const std::string Error = m_pSystem->Stop(); !Error.empty())
            Fail("the configuration was not saved: " + Error);
    } catch (...) {
        Fail("the configuration was not saved: " + ExceptionText());
    }
    return Status;
}

void Program::PrintReady() const
{
    if (m_Settings.PrintReady)
        std::cout << Text({{"api", m_Address},
                           {"signature", kSignatureText},
                           {"library", m_pLibrary->Path().string()},
                           {"interfaces", m_pSystem->NBridges()},
                           {"locks", m_pSystem->NDoorLock(COMPONENT_FILTER_ALL)}})
                  << std::endl;
    else
        std::cout << "vestara-devhost is ready: " << m_Address << " (driver " << m_pLibrary->Path().string()
                  << ", signature " << kSignatureText << ")" << std::endl;
}

void Program::Round(int nWakes)
{
    // Asked for instead of a signal at the parent's end, which the system sends when the thread ends that
    // started the host.
    if (m_Settings.ExitWithParent && getppid() != m_Parent)
        m_Loop.RequestExit();
    m_pSystem->RunOnce(nWakes);
    m_Log.TellCounts();
    PublishReports();
}

void Program::PublishReports()
{
    if (!m_NewLogEntry.exchange(false))
        return;
    for (const LogEntry& Entry : m_Log.EntriesSince(m_LastReport, 2000)) {
        m_LastReport = Entry.uSequence;
        if (Entry.bReport)
            m_pServer->Publish("report", Text(LogEntryJson(Entry)));
    }
}

void Program::HideUserSecrets()
{
    std::vector<std::string> Pins;
    for (int Slot = 0; Slot < SecurityServer::kSlots; ++Slot) {
        if (const CUser* pUser = m_pSystem->Security().GetUserAtDoorLockSlot(Slot))
            Pins.emplace_back(static_cast<char*>(pUser->PIN_DoorLock()));
    }
    m_Log.Secrets().SetKnownSecrets(std::move(Pins));
}

void Program::OnLockChanged(unsigned ComponentID)
{
    CDoorLock* pLock = m_pSystem->LockByID(ComponentID);
    m_pServer->Publish("lock", Text(pLock ? LockJson(*pLock) : json{{"id", ComponentID}, {"gone", true}}));
}

void Program::OnInterfacesChanged()
{
    json Interfaces = json::array();
    for (int i = 0; i < m_pSystem->NBridges(); ++i)
        Interfaces.push_back(InterfaceJson(*m_pSystem, *m_pSystem->BridgeByID(m_pSystem->Bridge(i)->ID())));
    m_pServer->Publish("interfaces", Text({{"interfaces", Interfaces}}));
}

void Program::OnPageRebuilt(unsigned BridgeID)
{
    // The page goes with the event: whoever shows it need not ask, which would build it once more.
    if (const auto pPage = m_pSystem->Pages().Peek(BridgeID))
        m_pServer->Publish("page", Text({{"interface", BridgeID}, {"page", PageJson(*pPage)}}));
}

void Program::OnSaved(const std::string& Error)
{
    m_pServer->Publish("saved", Text({{"ok", Error.empty()}, {"error", Error}}));
}

void Program::OnRestarted()
{
    m_pServer->Publish("restarted", Text({{"restarts", m_pSystem->Restarts()}}));
}

} // namespace devhost
