#pragma once
// What the fuzzers share. Each defines LLVMFuzzerTestOneInput, which libFuzzer calls with bytes that it makes
// up, and Corpus.cpp with the files of the corpus.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz
{

inline std::string_view Text(const std::uint8_t* data, std::size_t size)
{
    return {reinterpret_cast<const char*>(data), size};
}

/// Ends the program, which the fuzzer counts as a crash, when something that it checks does not hold.
inline void Require(bool holds, const char* what)
{
    if (holds)
        return;
    std::fprintf(stderr, "it does not hold that %s\n", what);
    std::abort();
}

/// Takes the text up to a separator, and the separator, from the front of the rest.
inline std::string_view TakeUntil(std::string_view& rest, char separator)
{
    const std::size_t end = rest.find(separator);
    const std::string_view taken = rest.substr(0, end);
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    return taken;
}

} // namespace fuzz
