#pragma once
// The entry points of one plug-in library, as the loader found them or as a test hands them over.

#include "host/Definitions.h"
#include "host/DeviceInterface.h"
#include "host/QXList.h"
#include "host/SystemComponent.h"

namespace devhost
{

/// The four calls that the system makes once a library was accepted. All are set. Called on the host thread.
struct PluginEntryPoints {
    /// The first argument is the host's own and may be null.
    void (*loadDeviceInterfaces)(void*, CQXObList*) = nullptr;
    /// A new object that the caller owns, or null for a definition of another library.
    CDeviceInterface* (*createDeviceInterface)(CDeviceInterfaceDef*) = nullptr;
    void (*loadSystemComponentDefs)(CStringBlock*, int family, CQXObList*) = nullptr;
    /// A new object that the caller owns, or null for a definition of another library.
    CSystemComponent* (*createSystemComponent)(CSystemComponentDef*) = nullptr;
};

} // namespace devhost
