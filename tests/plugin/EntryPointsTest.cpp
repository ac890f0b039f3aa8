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

} // namespace
