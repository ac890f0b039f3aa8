// What the refusal of a library says. One that is accepted is the program's test's, one without any entry
// point the end-to-end test's.

#include "devhost/controller/PluginLibrary.h"

#include <gmock/gmock.h>

#include <filesystem>

#include <unistd.h>

namespace
{

void ExpectRefusal(const std::string& path, const std::string& message)
{
    EXPECT_THAT([&] { const devhost::PluginLibrary library(path); },
                testing::ThrowsMessage<devhost::PluginError>(testing::HasSubstr(message)));
}

} // namespace

TEST(PluginLibraryTest, RefusesWhatIsWrongOrCutShortWithAMessageThatNamesIt)
{
    const std::string folder = FAKE_LIBRARY_DIR;
    const char* const kRows[][2] = {{"libfake_no_component.so", "CreateSystemComponent is missing"},
                                    {"libfake_wrong_signature.so", "0x08000091"},
                                    {"libfake_refuses.so", "DllMain did not return 1"},
                                    {"libfake_unresolved.so", "vestara_no_such_symbol"},
                                    {"libfake_throws.so", "unknown type"},
                                    {"nowhere.so", "No such file"},
                                    {".", "no file"}};
    for (const auto& [library, message] : kRows)
        ExpectRefusal(folder + "/" + library, message);

    const std::string cut = testing::TempDir() + "vestara-cut-" + std::to_string(getpid()) + ".so";
    const std::string good = folder + "/libfake_good.so";
    const std::uintmax_t size = std::filesystem::file_size(good);
    for (const std::uintmax_t left :
         {std::uintmax_t{0}, std::uintmax_t{63}, std::uintmax_t{64}, size / 2, size - 1}) {
        std::filesystem::copy_file(good, cut);
        std::filesystem::resize_file(cut, left);
        ExpectRefusal(cut, left < 64 ? "too short" : "cut short");
        std::filesystem::remove(cut);
    }
}
