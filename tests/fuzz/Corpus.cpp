// Runs a fuzzer over the files of folders, in builds without libFuzzer.

#include "tests/fuzz/Fuzz.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

int main(int argc, char** argv)
{
    int count = 0;
    for (int i = 1; i < argc; ++i) {
        for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
            std::ifstream file(entry.path(), std::ios::binary);
            const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
            std::cout << entry.path().string() << "\n";
            LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
            ++count;
        }
    }
    return count > 0 ? 0 : 1;
}
