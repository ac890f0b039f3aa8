// Definitions and creation through the entry points.

#include "support/TestHost.h"

namespace support
{

using EntryPoints = DriverTest;

// That the own types are created shows in every other test.
TEST_F(EntryPoints, AnswerForTheirOwnTypesOnly)
{
    const devhost::PluginEntryPoints Driver = DriverEntryPoints();
    auto* pBlock = reinterpret_cast<CStringBlock*>(&m_Store); // handed through, never looked at
    CQXObList Interfaces, Components;
    Driver.LoadDeviceInterfaces(nullptr, &Interfaces);
    for (const int iFamily : {24, 25, 133})
        Driver.LoadSystemComponentDefs(pBlock, iFamily, &Components);
    ASSERT_EQ(Interfaces.GetCount() * 10 + Components.GetCount(), 11);
    const std::unique_ptr<CDeviceInterfaceDef> pInterface(
        static_cast<CDeviceInterfaceDef*>(Interfaces.RemoveHead()));
    const std::unique_ptr<CSystemComponentDef> pLock(
        static_cast<CSystemComponentDef*>(Components.RemoveHead()));
    EXPECT_EQ(pInterface->Flags(), 0x0E104204);
    EXPECT_EQ(pLock->Flags(), 0x100000);
    EXPECT_EQ(pLock->Block(), pBlock);
    CDeviceInterfaceDef OtherInterface(pLock->Type(), "other", 0, 0);
    CSystemComponentDef OtherComponent(nullptr, pInterface->Type(), "other", "", 0, 0);
    EXPECT_FALSE(Driver.CreateDeviceInterface(&OtherInterface));
    EXPECT_FALSE(Driver.CreateSystemComponent(&OtherComponent));
}

} // namespace support
