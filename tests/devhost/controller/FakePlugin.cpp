// The fake plug-in and the fixture around it; what is expected of the system is in the tests.

#include "tests/devhost/controller/FakePlugin.h"

#include "host/Platform.h"

#include <algorithm>

FakeInterface::FakeInterface(CDeviceInterfaceDef* pDefinition) : CDeviceNetwork(pDefinition, 0, 0)
{
    StateAtConstruction = static_cast<char*>(GetAuthURL());
}

int FakeInterface::ReadClientData(CQXFile* pFile, int iVersion)
{
    CQXString Text;
    if (!CDeviceNetwork::ReadClientData(pFile, iVersion) || !pFile->ReadString(&Text))
        return 0;
    Token = static_cast<char*>(Text);
    return 1;
}

int FakeInterface::WriteClientData(CQXFile* pFile, int iVersion)
{
    return CDeviceNetwork::WriteClientData(pFile, iVersion) && pFile->WriteString(Token.c_str()) ? Writable
                                                                                                 : 0;
}

void FakeInterface::IFaceDoPropertyExchange(CPropertySet* pSet, PROPERTYSET_DDX eDdx)
{
    if (eDdx == PROPERTYSET_DDX_BUILD) {
        pSet->AddTextProperty("Status", "fine", 2000, 9);
        CSystemProperty* pHouse = pSet->AddMultiProperty("House", -1, 2001, 0);
        pHouse->UpdateDelegate(this);
        UpdateProperty(pHouse, PROPERTY_UPDATE_BUILD, pSet, 0, 0);
        if (OnBuild)
            OnBuild();
    } else if (eDdx == PROPERTYSET_DDX_STORE && OnStore) {
        OnStore(pSet->Property(2001)->SelectedIndex());
    }
    CDeviceInterface::IFaceDoPropertyExchange(pSet, eDdx);
}

int FakeInterface::UpdateProperty(CSystemProperty* pProperty, PROPERTY_UPDATE_CTX, CPropertySet*, int, int)
{
    pProperty->AddChoice("Lake House", 0);
    pProperty->AddChoice("Cabin", 1);
    return 1;
}

void FakeInterface::OnInterfaceIdle()
{
    ++Idles;
    if (const auto Hook = OnIdle) // a copy, because the hook may replace itself
        Hook();
}

int FakeInterface::Run()
{
    ++Runs;
    ++Running;
    while (!NetworkBridge()->ShuttingDown())
        Sleep(3'600'000); // ends early, or the test hangs
    --Running;
    return 0;
}

CQXString FakeInterface::GetActionURL(int iAction)
{
    if (iAction != 20002)
        return CQXString();
    CQXString Result = "https://oauth.example/authorize?state=";
    Result += GetAuthURL();
    return Result;
}

void FakeInterface::GetExtBridgeConfig(CQXMSG* pMessage)
{
    pMessage->PutInt(0x2020000);
    pMessage->PutInt(0);
    pMessage->PutString("Location");
    pMessage->PutInt(-1);
    pMessage->PutInt(2);
    pMessage->PutString("Lake House");
    pMessage->PutString("Cabin");
    pMessage->PutInt(0x2000000);
}

devhost::PluginEntryPoints FakePlugin()
{
    devhost::PluginEntryPoints Plugin;
    Plugin.LoadDeviceInterfaces = [](void*, CQXObList* pList) {
        pList->AddTail(std::make_unique<CDeviceInterfaceDef>(kFakeInterfaceType, "Fake", 0, 0).release());
    };
    Plugin.CreateDeviceInterface = [](CDeviceInterfaceDef* pDefinition) -> CDeviceInterface* {
        return std::make_unique<FakeInterface>(pDefinition).release();
    };
    Plugin.LoadSystemComponentDefs = [](CStringBlock* pBlock, int Family, CQXObList* pList) {
        if (Family == kFakeFamily)
            pList->AddTail(std::make_unique<CSystemComponentDef>(pBlock, kFakeLockType, "Fake Lock", "", 0, 0)
                               .release());
    };
    Plugin.CreateSystemComponent = [](CSystemComponentDef* pDefinition) -> CSystemComponent* {
        return std::make_unique<FakeLock>(pDefinition).release();
    };
    return Plugin;
}

void SystemTest::Restart(bool bWorkers)
{
    m_pSystem.reset();
    devhost::TheFramework().pDiagnostics = &m_Sink;
    devhost::System::Options Options;
    Options.Plugins = {FakePlugin()};
    Options.pStore = &m_Store;
    Options.Workers = bWorkers;
    m_pSystem = std::make_unique<devhost::System>(std::move(Options));
    m_pSystem->Start();
}

std::pair<FakeInterface&, FakeInterface&> SystemTest::RestartWithTwo(bool bWorkers)
{
    Restart(bWorkers);
    FakeInterface& First = AddInterface();
    return {First, AddInterface()};
}

FakeInterface& SystemTest::AddInterface()
{
    return dynamic_cast<FakeInterface&>(*m_pSystem->AddInterface(kFakeInterfaceType)->DeviceInterface());
}

FakeLock& SystemTest::AddLock(FakeInterface& Owner, const char* pName)
{
    auto& Added = dynamic_cast<FakeLock&>(
        *Family()->AddNewComponent(kFakeLockType, pName, FACTORY_MODE_NEW, nullptr, nullptr));
    Added.ID(CIDServer::Instance()->NewID());
    Added.BridgeID(Owner.BridgeID());
    Added.SetBridge(Owner.NetworkBridge());
    Owner.AddClient(&Added);
    Added.RegisterEventServer();
    return Added;
}

bool SystemTest::Reported(const std::string& Text) const
{
    const auto Lines = m_Sink.Lines();
    return std::any_of(Lines.begin(), Lines.end(), [&](const auto& s) { return s.find(Text) != s.npos; });
}
