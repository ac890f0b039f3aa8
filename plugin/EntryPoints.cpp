// The six symbols that the host looks up by name; everything else in the library is local. Objects created
// here are owned and deleted by the host.

#include "interface/VestaraInterface.h"
#include "lock/Portivo.h"
#include "plugin/Registration.h"

#include <memory>

#define VESTARA_EXPORT __attribute__((visibility("default")))

namespace
{

// By this value the host decides whether the library fits.
constexpr unsigned kLibrarySignature = 0x08000090;

// Handed to the host's definitions unchanged; only the host reads the bits.
constexpr int kInterfaceDefinitionFlags = 0x0E104204;
constexpr int kComponentDefinitionFlags = 0x100000;

} // namespace

// The one entry point that the host looks up by its decorated name.
VESTARA_EXPORT int DllMain(int /*iModule*/, unsigned /*uReason*/, void* /*pReserved*/)
{
    return 1;
}

extern "C" {

VESTARA_EXPORT unsigned GetLibSignature()
{
    return kLibrarySignature;
}

VESTARA_EXPORT void LoadDeviceInterfaces(void* /*pReserved*/, CQXObList* pList)
{
    RegisterInterface(pList, kVestaraInterfaceType, "Vestara Interface", 0, kInterfaceDefinitionFlags);
}

// The host offers every definition to every library, so a foreign one is no fault.
VESTARA_EXPORT CDeviceInterface* CreateDeviceInterface(CDeviceInterfaceDef* pDefinition)
{
    if (pDefinition->Type() != kVestaraInterfaceType)
        return nullptr;
    return std::make_unique<CVestaraInterface>(pDefinition).release();
}

VESTARA_EXPORT void LoadSystemComponentDefs(CStringBlock* pBlock, int iFamily, CQXObList* pList)
{
    if (iFamily != kLockFamily)
        return;
    RegisterComponent(pBlock, pList, kPortivoType, "Vestara Portivo", "", kComponentDefinitionFlags);
}

VESTARA_EXPORT CSystemComponent* CreateSystemComponent(CSystemComponentDef* pDefinition)
{
    if (pDefinition->Type() != kPortivoType)
        return nullptr;
    return std::make_unique<CPortivo>(pDefinition).release();
}

} // extern "C"
