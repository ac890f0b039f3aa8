#pragma once
// A lock that notes in the journal what is registered with it, and a family that hands out what a test gives
// it.

#include "support/TestHost.h"

namespace support
{

/// The driver's lock; each registration becomes an effect like "dev-1 RegisterWorking 1". It is no component
/// of the system: the test owns it.
class RecordingLock : public CPortivo
{
public:
    explicit RecordingLock(Journal& Effects) : CPortivo(&Definition()), m_Journal(Effects) {}
    /// Hangs the lock on the account, as the host does after loading.
    RecordingLock(Journal& Effects, CVestaraInterface& Account, const char* pDeviceID)
        : RecordingLock(Effects)
    {
        DeviceID(pDeviceID);
        BridgeID(Account.BridgeID());
        SetBridge(Account.NetworkBridge());
        Account.AddClient(this);
    }

    std::function<void()> OnNote; ///< called after each note, for effects that must come in between

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
        static CSystemComponentDef Portivo(nullptr, kPortivoType, "Vestara Portivo", "", 0, 0);
        return Portivo;
    }
    void Note(const std::string& Effect)
    {
        m_Journal.Add(std::string(DeviceID()) + " " + Effect);
        if (OnNote)
            OnNote();
    }
    void Note(const char* pEffect, long long Value)
    {
        Note(std::string(pEffect) + " " + std::to_string(Value));
    }

    Journal& m_Journal;
};

/// Borrows what the test puts in; null entries are allowed.
class ScriptedFamily : public CSystemFamily
{
public:
    explicit ScriptedFamily(Journal& Effects) : m_Journal(Effects) {}

    std::vector<CSystemComponent*> Components;
    CSystemComponent* pNew = nullptr; ///< what the next AddNewComponent gives

    int NComponents(COMPONENT_FILTER_TYPE) override { return static_cast<int>(Components.size()); }
    CSystemComponent* Component(int i) override { return Components.at(static_cast<std::size_t>(i)); }
    CSystemComponent* AddNewComponent(int iType, CQXString sName, FACTORY_MODE eMode, CQXFile* pFile,
                                      QXT_SYSCONFIG_CHANGE_SRC* pSource) override
    {
        m_Journal.Add("AddNewComponent " + std::to_string(iType) + " " + std::string(sName) + " " +
                      std::to_string(eMode) + (pFile || pSource ? " with a source" : ""));
        return pNew;
    }
    void DeleteComponent(CSystemComponent*, QXT_SYSCONFIG_CHANGE_SRC*) override
    {
        m_Journal.Add("DeleteComponent");
    }
    void OnComponentAutoInstall(CSystemComponent*) override { m_Journal.Add("OnComponentAutoInstall"); }

private:
    Journal& m_Journal;
};

} // namespace support
