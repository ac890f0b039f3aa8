// Definitions and creation through the entry points.

#include "tests/support/TestHost.h"

namespace support
{

using EntryPointsTest = DriverTest;

// That the own types are created shows in every other test.
TEST_F(EntryPointsTest, AnswerForTheirOwnTypesOnly)
{
    const devhost::PluginEntryPoints driver = DriverEntryPoints();
    auto* block = reinterpret_cast<CStringBlock*>(&m_store); // handed through, never looked at
    CQXObList interfaces, components;
    driver.loadDeviceInterfaces(nullptr, &interfaces);
    for (const int family : {24, 25, 133})
        driver.loadSystemComponentDefs(block, family, &components);
    ASSERT_EQ(interfaces.GetCount() * 10 + components.GetCount(), 11);
    const std::unique_ptr<CDeviceInterfaceDef> interface(
        static_cast<CDeviceInterfaceDef*>(interfaces.RemoveHead()));
    const std::unique_ptr<CSystemComponentDef> lock(
        static_cast<CSystemComponentDef*>(components.RemoveHead()));
    EXPECT_EQ(interface->Flags(), 0x0E104204);
    EXPECT_EQ(lock->Flags(), 0x100000);
    EXPECT_EQ(lock->Block(), block);
    CDeviceInterfaceDef otherInterface(lock->Type(), "other", 0, 0);
    CSystemComponentDef otherComponent(nullptr, interface->Type(), "other", "", 0, 0);
    EXPECT_FALSE(driver.createDeviceInterface(&otherInterface));
    EXPECT_FALSE(driver.createSystemComponent(&otherComponent));
}

} // namespace support
