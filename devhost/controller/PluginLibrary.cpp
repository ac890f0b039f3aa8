// Loads a plug-in library and checks that it is one. What it contributes is asked for by the system.

#include "devhost/controller/PluginLibrary.h"

#include "devhost/framework/diagnostics/ExceptionText.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <fstream>
#include <limits>
#include <link.h>

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

template <class Record>
bool ReadAt(std::ifstream& File, std::uint64_t Offset, Record& Result)
{
    File.seekg(static_cast<std::streamoff>(Offset));
    return static_cast<bool>(File.read(reinterpret_cast<char*>(&Result), sizeof Result));
}

std::uint64_t End(std::uint64_t Offset, std::uint64_t Size)
{
    constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max();
    return Offset > kMost - Size ? kMost : Offset + Size;
}

// The bytes that a library has by its own headers; 0 for what is no library of this machine.
std::uint64_t SizeByHeaders(std::ifstream& File, std::uint64_t FileSize)
{
    ElfW(Ehdr) Head{};
    constexpr int kClass = sizeof(void*) == 8 ? ELFCLASS64 : ELFCLASS32;
    if (!ReadAt(File, 0, Head) || std::memcmp(Head.e_ident, ELFMAG, SELFMAG) != 0 ||
        Head.e_ident[EI_CLASS] != kClass || Head.e_phentsize != sizeof(ElfW(Phdr)))
        return 0;
    std::uint64_t Size = std::max(End(Head.e_phoff, std::uint64_t{Head.e_phnum} * Head.e_phentsize),
                                  End(Head.e_shoff, std::uint64_t{Head.e_shnum} * Head.e_shentsize));
    for (unsigned i = 0; Size <= FileSize && i < Head.e_phnum; ++i) {
        ElfW(Phdr) Part{};
        if (ReadAt(File, Head.e_phoff + std::uint64_t{i} * sizeof Part, Part))
            Size = std::max(Size, End(Part.p_offset, Part.p_filesz));
    }
    return Size;
}

// The system's loader maps what the headers name, and touching what the file lacks ends the program at once
// (SIGBUS). So a library that was copied in part is refused before.
void CheckFile(const std::filesystem::path& Path)
{
    std::error_code Error;
    const auto Status = std::filesystem::status(Path, Error);
    if (!std::filesystem::exists(Status))
        throw PluginError("cannot load " + Path.string() + ": " + Error.message() +
                          "; --driver takes the path of the library");
    if (!std::filesystem::is_regular_file(Status))
        throw PluginError("cannot load " + Path.string() + ": this is no file");
    const std::uint64_t FileSize = std::filesystem::file_size(Path);
    std::ifstream File(Path, std::ios::binary);
    if (const std::uint64_t Wanted = SizeByHeaders(File, FileSize); Wanted > FileSize)
        throw PluginError("cannot load " + Path.string() + ": the file is cut short, it has " +
                          std::to_string(FileSize) + " bytes and its headers speak of more");
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
    : m_Path(std::filesystem::absolute(Path)) // so that a bare file name is never looked for elsewhere
{
    CheckFile(m_Path);
    m_pHandle.reset(dlopen(m_Path.c_str(), RTLD_NOW | RTLD_LOCAL));
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

    int Result = 0;
    std::uint32_t Signature = kSignature;
    try {
        Result = pDllMain(0, 0, nullptr);
        if (Result == 1)
            Signature = pSignature();
    } catch (...) {
        throw PluginError(m_Path.string() + " failed to start: " + ExceptionText());
    }
    if (Result != 1)
        throw PluginError(m_Path.string() + " refused to start: DllMain did not return 1");
    if (Signature != kSignature)
        throw PluginError(m_Path.string() + " does not fit this host: GetLibSignature returned " +
                          Hexadecimal(Signature) + " where " + Hexadecimal(kSignature) + " is needed");
}

} // namespace devhost
