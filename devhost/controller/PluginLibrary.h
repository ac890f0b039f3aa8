#pragma once
// A loaded plug-in library.

#include "devhost/framework/system/Plugin.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>

namespace devhost
{

/// Why a library was refused; the text names the library and what is wrong with it.
class PluginError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// A library that was loaded, checked and accepted. It stays loaded as long as the object lives, which must
/// be longer than every object and definition that the library made. Host thread.
class PluginLibrary
{
public:
    /// The one signature that this host accepts.
    static constexpr std::uint32_t kSignature = 0x08000090;
    /// A signature as it is shown, such as "0x08000090".
    static std::string SignatureText(std::uint32_t signature = kSignature);

    /// Looks at the file, loads the library with all its symbols resolved, looks up the six entry points,
    /// calls DllMain and checks the signature, in this order.
    /// @throws PluginError when the file is cut short or cannot be loaded, an entry point is missing or
    /// throws, DllMain refuses, or the signature is another one. The library is unloaded then.
    explicit PluginLibrary(const std::filesystem::path& path);

    const std::filesystem::path& Path() const { return m_path; }
    const PluginEntryPoints& EntryPoints() const { return m_entryPoints; }

private:
    struct Unload {
        void operator()(void* handle) const;
    };
    void* Symbol(const char* name) const;

    std::filesystem::path m_path;
    std::unique_ptr<void, Unload> m_handle;
    PluginEntryPoints m_entryPoints;
};

} // namespace devhost
