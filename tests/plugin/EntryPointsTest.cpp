// Definitions and creation through the entry points.

#include "support/TestHost.h"

namespace
{

using support::DriverEntryPoints;

class EntryPoints : public support::DriverTest
{
};

TEST_F(EntryPoints, AnswerForTheirOwnTypesOnly)
{
    const devhost::PluginEntryPoints Driver = DriverEntryPoints();
    CDeviceInterfaceDef Interface(133, "Vestara Interface", 0, 0);
    CDeviceInterfaceDef OtherInterface(1084, "other", 0, 0);
    CSystemComponentDef Lock(nullptr, 1084, "Vestara Portivo", "", 0, 0);
    CSystemComponentDef OtherComponent(nullptr, 133, "other", "", 0, 0);

    const std::unique_ptr<CDeviceInterface> pInterface(Driver.CreateDeviceInterface(&Interface));
    EXPECT_TRUE(dynamic_cast<CVestaraInterface*>(pInterface.get()));
    EXPECT_FALSE(Driver.CreateDeviceInterface(&OtherInterface));
    const std::unique_ptr<CSystemComponent> pLock(Driver.CreateSystemComponent(&Lock));
    EXPECT_TRUE(dynamic_cast<CPortivo*>(pLock.get()));
    EXPECT_FALSE(Driver.CreateSystemComponent(&OtherComponent));
}

TEST_F(EntryPoints, DefinitionsArriveUnchangedAndAgainWithEachCall)
{
    const devhost::PluginEntryPoints Driver = DriverEntryPoints();
    auto* pBlock = reinterpret_cast<CStringBlock*>(&m_Store); // handed through, never looked at
    CQXObList Interfaces, Components;
    for (const int iFamily : {24, 25, 133, -1, 25})
        Driver.LoadSystemComponentDefs(pBlock, iFamily, &Components);
    Driver.LoadDeviceInterfaces(nullptr, &Interfaces);
    Driver.LoadDeviceInterfaces(nullptr, &Interfaces);
    EXPECT_EQ(Interfaces.GetCount(), 2);
    EXPECT_EQ(Components.GetCount(), 2);
    while (void* pItem = Interfaces.RemoveHead()) {
        const std::unique_ptr<CDeviceInterfaceDef> pDefinition(static_cast<CDeviceInterfaceDef*>(pItem));
        EXPECT_STREQ(pDefinition->Name(), "Vestara Interface");
        EXPECT_EQ(pDefinition->Type(), 133);
        EXPECT_EQ(pDefinition->Reserved(), 0);
        EXPECT_EQ(pDefinition->Flags(), 0x0E104204);
    }
    while (void* pItem = Components.RemoveHead()) {
        const std::unique_ptr<CSystemComponentDef> pDefinition(static_cast<CSystemComponentDef*>(pItem));
        EXPECT_STREQ(pDefinition->Name(), "Vestara Portivo");
        EXPECT_STREQ(pDefinition->SecondName(), "");
        EXPECT_EQ(pDefinition->Type(), 1084);
        EXPECT_EQ(pDefinition->Flags(), 0x100000);
        EXPECT_EQ(pDefinition->Reserved(), 0);
        EXPECT_EQ(pDefinition->Block(), pBlock);
    }
}

} // namespace
