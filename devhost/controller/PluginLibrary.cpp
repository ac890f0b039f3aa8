// Loads a plug-in library and checks that it is one. What it contributes is asked for by the system.

#include "devhost/controller/PluginLibrary.h"

#include <array>
#include <cstdio>
#include <dlfcn.h>

namespace devhost
{

namespace
{

std::string Hexadecimal(std::uint32_t Value)
{
    std::array<char, 11> Text{};
    std::snprintf(Text.data(), Text.size(), "0x%08x", Value);
    return Text.data();
}

template <class Function>
Function As(void* pSymbol)
{
    return reinterpret_cast<Function>(pSymbol); // POSIX requires that dlsym's pointers convert
}

} // namespace

void PluginLibrary::Unload::operator()(void* pHandle) const
{
    dlclose(pHandle);
}

void* PluginLibrary::Symbol(const char* pName) const
{
    void* pSymbol = dlsym(m_pHandle.get(), pName);
    if (!pSymbol)
        throw PluginError(m_Path.string() + " is no plug-in: entry point " + pName + " is missing");
    return pSymbol;
}

PluginLibrary::PluginLibrary(const std::filesystem::path& Path)
    // Absolute, so that a bare file name is never looked for among the system's libraries.
    : m_Path(std::filesystem::absolute(Path)), m_pHandle(dlopen(m_Path.c_str(), RTLD_NOW | RTLD_LOCAL))
{
    if (!m_pHandle) {
        const char* pReason = dlerror();
        throw PluginError("cannot load " + m_Path.string() + ": " + (pReason ? pReason : "unknown reason"));
    }
    // DllMain is the only entry point with C++ linkage, so it is found by its decorated name.
    auto* pDllMain = As<int (*)(int, unsigned, void*)>(Symbol("_Z7DllMainijPv"));
    auto* pSignature = As<std::uint32_t (*)()>(Symbol("GetLibSignature"));
    m_EntryPoints.LoadDeviceInterfaces =
        As<decltype(m_EntryPoints.LoadDeviceInterfaces)>(Symbol("LoadDeviceInterfaces"));
    m_EntryPoints.CreateDeviceInterface =
        As<decltype(m_EntryPoints.CreateDeviceInterface)>(Symbol("CreateDeviceInterface"));
    m_EntryPoints.LoadSystemComponentDefs =
        As<decltype(m_EntryPoints.LoadSystemComponentDefs)>(Symbol("LoadSystemComponentDefs"));
    m_EntryPoints.CreateSystemComponent =
        As<decltype(m_EntryPoints.CreateSystemComponent)>(Symbol("CreateSystemComponent"));

    if (pDllMain(0, 0, nullptr) != 1)
        throw PluginError(m_Path.string() + " refused to start: DllMain did not return 1");
    const std::uint32_t Signature = pSignature();
    if (Signature != kSignature)
        throw PluginError(m_Path.string() + " does not fit this host: GetLibSignature returned " +
                          Hexadecimal(Signature) + " where " + Hexadecimal(kSignature) + " is needed");
}

} // namespace devhost
