// Loads a plug-in library and checks that it is one. What it contributes is asked for by the system.

#include "devhost/controller/PluginLibrary.h"

#include "devhost/framework/diagnostics/ExceptionText.h"

#include <spdlog/fmt/fmt.h>

#include <algorithm>
#include <cstring>
#include <dlfcn.h>
#include <fstream>
#include <limits>
#include <link.h>

namespace devhost
{

namespace
{

template <class Function>
Function As(void* symbol)
{
    return reinterpret_cast<Function>(symbol); // POSIX requires that dlsym's pointers convert
}

template <class Record>
bool ReadAt(std::ifstream& file, std::uint64_t offset, Record& result)
{
    file.seekg(static_cast<std::streamoff>(offset));
    return static_cast<bool>(file.read(reinterpret_cast<char*>(&result), sizeof result));
}

std::uint64_t End(std::uint64_t offset, std::uint64_t size)
{
    constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max();
    return offset > kMost - size ? kMost : offset + size;
}

// The bytes that a library has by its own headers; 0 for what is no library of this machine.
std::uint64_t SizeByHeaders(std::ifstream& file, std::uint64_t fileSize)
{
    ElfW(Ehdr) head{};
    constexpr int kClass = sizeof(void*) == 8 ? ELFCLASS64 : ELFCLASS32;
    if (!ReadAt(file, 0, head) || std::memcmp(head.e_ident, ELFMAG, SELFMAG) != 0 ||
        head.e_ident[EI_CLASS] != kClass || head.e_phentsize != sizeof(ElfW(Phdr)))
        return 0;
    std::uint64_t size = std::max(End(head.e_phoff, std::uint64_t{head.e_phnum} * head.e_phentsize),
                                  End(head.e_shoff, std::uint64_t{head.e_shnum} * head.e_shentsize));
    for (unsigned i = 0; size <= fileSize && i < head.e_phnum; ++i) {
        ElfW(Phdr) part{};
        if (ReadAt(file, head.e_phoff + std::uint64_t{i} * sizeof part, part))
            size = std::max(size, End(part.p_offset, part.p_filesz));
    }
    return size;
}

// The system's loader maps what the headers name, and touching what the file lacks ends the program at once
// (SIGBUS). So a library that was copied in part is refused before.
void CheckFile(const std::filesystem::path& path)
{
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status))
        throw PluginError("cannot load " + path.string() + ": " + error.message() +
                          "; --driver takes the path of the library");
    if (!std::filesystem::is_regular_file(status))
        throw PluginError("cannot load " + path.string() + ": this is no file");
    const std::uint64_t fileSize = std::filesystem::file_size(path);
    std::ifstream file(path, std::ios::binary);
    if (const std::uint64_t wanted = SizeByHeaders(file, fileSize); wanted > fileSize)
        throw PluginError("cannot load " + path.string() + ": the file is cut short, it has " +
                          std::to_string(fileSize) + " bytes and its headers speak of more");
}

} // namespace

std::string PluginLibrary::SignatureText(std::uint32_t signature)
{
    return fmt::format("0x{:08x}", signature);
}

void PluginLibrary::Unload::operator()(void* handle) const
{
    dlclose(handle);
}

void* PluginLibrary::Symbol(const char* name) const
{
    void* symbol = dlsym(m_handle.get(), name);
    if (!symbol)
        throw PluginError(m_path.string() + " is no plug-in: entry point " + name + " is missing");
    return symbol;
}

PluginLibrary::PluginLibrary(const std::filesystem::path& path)
    : m_path(std::filesystem::absolute(path)) // so that a bare file name is never looked for elsewhere
{
    CheckFile(m_path);
    m_handle.reset(dlopen(m_path.c_str(), RTLD_NOW | RTLD_LOCAL));
    if (!m_handle) {
        const char* reason = dlerror();
        throw PluginError("cannot load " + m_path.string() + ": " + (reason ? reason : "unknown reason"));
    }
    // DllMain is the only entry point with C++ linkage, so it is found by its decorated name.
    auto* dllMain = As<int (*)(int, unsigned, void*)>(Symbol("_Z7DllMainijPv"));
    auto* getSignature = As<std::uint32_t (*)()>(Symbol("GetLibSignature"));
    m_entryPoints.loadDeviceInterfaces =
        As<decltype(m_entryPoints.loadDeviceInterfaces)>(Symbol("LoadDeviceInterfaces"));
    m_entryPoints.createDeviceInterface =
        As<decltype(m_entryPoints.createDeviceInterface)>(Symbol("CreateDeviceInterface"));
    m_entryPoints.loadSystemComponentDefs =
        As<decltype(m_entryPoints.loadSystemComponentDefs)>(Symbol("LoadSystemComponentDefs"));
    m_entryPoints.createSystemComponent =
        As<decltype(m_entryPoints.createSystemComponent)>(Symbol("CreateSystemComponent"));

    int result = 0;
    std::uint32_t signature = kSignature;
    try {
        result = dllMain(0, 0, nullptr);
        if (result == 1)
            signature = getSignature();
    } catch (...) {
        throw PluginError(m_path.string() + " failed to start: " + ExceptionText());
    }
    if (result != 1)
        throw PluginError(m_path.string() + " refused to start: DllMain did not return 1");
    if (signature != kSignature)
        throw PluginError(m_path.string() + " does not fit this host: GetLibSignature returned " +
                          SignatureText(signature) + " where " + SignatureText() + " is needed");
}

} // namespace devhost
