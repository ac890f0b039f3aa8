#pragma once
// A lock that notes in the journal what is registered with it, and a family that hands out what a test gives
// it.

#include "tests/support/TestHost.h"

namespace support
{

/// The driver's lock; each registration becomes an effect like "dev-1 RegisterWorking 1". It is no component
/// of the system: the test owns it.
class RecordingLock : public CPortivo
{
public:
    explicit RecordingLock(Journal& effects) : CPortivo(&Definition()), m_journal(effects) {}
    /// Hangs the lock on the account, as the host does after loading.
    RecordingLock(Journal& effects, CVestaraInterface& account, const char* deviceId) : RecordingLock(effects)
    {
        DeviceID(deviceId);
        BridgeID(account.BridgeID());
        SetBridge(account.NetworkBridge());
        account.AddClient(this);
    }

    std::function<void()> onNote; ///< called after each note, for effects that must come in between

    void Install() override { Note("Install on bridge " + std::to_string(BridgeID())); }
    void OnComponentInit() override { Note("OnComponentInit"), CPortivo::OnComponentInit(); }
    int UnInstall() override { return Note("UnInstall"), CPortivo::UnInstall(); }
    void RegisterEventServer() override { Note("RegisterEventServer"), CPortivo::RegisterEventServer(); }
    void RegisterBatteryLevel(int i) override { Note("Battery", i), CPortivo::RegisterBatteryLevel(i); }
    void RegisterSignalStrength(int i) override { Note("Signal", i), CPortivo::RegisterSignalStrength(i); }
    void RegisterProgress(int i) override { Note("Progress", i), CPortivo::RegisterProgress(i); }
    void RegisterProgressTime(unsigned u) override
    {
        Note("ProgressTime", u), CPortivo::RegisterProgressTime(u);
    }
    void RegisterLockSecured(int i) override { Note("Secured", i), CPortivo::RegisterLockSecured(i); }
    void RegisterLockUnsecured(int i) override { Note("Unsecured", i), CPortivo::RegisterLockUnsecured(i); }
    void RegisterWorking(int i) override { Note("Working", i), CPortivo::RegisterWorking(i); }
    void RegisterUnknownState() override { Note("Unknown"), CPortivo::RegisterUnknownState(); }
    void RegisterErrorState(CQXString s) override
    {
        Note("Error " + std::string(s));
        CPortivo::RegisterErrorState(std::move(s));
    }

private:
    static CSystemComponentDef& Definition()
    {
        static CSystemComponentDef portivo(nullptr, kPortivoType, "Vestara Portivo", "", 0, 0);
        return portivo;
    }
    void Note(const std::string& effect)
    {
        m_journal.Add(std::string(DeviceID()) + " " + effect);
        if (onNote)
            onNote();
    }
    void Note(const char* effect, long long value)
    {
        Note(std::string(effect) + " " + std::to_string(value));
    }

    Journal& m_journal;
};

/// Borrows what the test puts in; null entries are allowed.
class ScriptedFamily : public CSystemFamily
{
public:
    explicit ScriptedFamily(Journal& effects) : m_journal(effects) {}

    std::vector<CSystemComponent*> components;
    CSystemComponent* created = nullptr; ///< what the next AddNewComponent gives

    int NComponents(COMPONENT_FILTER_TYPE) override { return static_cast<int>(components.size()); }
    CSystemComponent* Component(int i) override { return components.at(static_cast<std::size_t>(i)); }
    CSystemComponent* AddNewComponent(int type, CQXString name, FACTORY_MODE mode, CQXFile* file,
                                      QXT_SYSCONFIG_CHANGE_SRC* source) override
    {
        m_journal.Add("AddNewComponent " + std::to_string(type) + " " + std::string(name) + " " +
                      std::to_string(mode) + (file || source ? " with a source" : ""));
        return created;
    }
    void DeleteComponent(CSystemComponent*, QXT_SYSCONFIG_CHANGE_SRC*) override
    {
        m_journal.Add("DeleteComponent");
    }
    void OnComponentAutoInstall(CSystemComponent*) override { m_journal.Add("OnComponentAutoInstall"); }

private:
    Journal& m_journal;
};

} // namespace support
