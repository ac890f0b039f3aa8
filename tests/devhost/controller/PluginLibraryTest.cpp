// What the refusal of a library says. One that is accepted is the program's test's, one without any entry
// point the end-to-end test's.

#include "devhost/controller/PluginLibrary.h"

#include <gtest/gtest.h>

#include <filesystem>

#include <unistd.h>

namespace
{

void ExpectRefusal(const std::string& Path, const std::string& Message)
{
    try {
        const devhost::PluginLibrary Library(Path);
        ADD_FAILURE() << Path << " was accepted";
    } catch (const devhost::PluginError& Error) {
        EXPECT_NE(std::string(Error.what()).find(Message), std::string::npos) << Error.what();
    }
}

} // namespace

TEST(PluginLibrary, RefusesWhatIsWrongOrCutShortWithAMessageThatNamesIt)
{
    const std::string Folder = FAKE_LIBRARY_DIR;
    const char* const kRows[][2] = {{"libfake_no_component.so", "CreateSystemComponent is missing"},
                                    {"libfake_wrong_signature.so", "0x08000091"},
                                    {"libfake_refuses.so", "DllMain did not return 1"},
                                    {"libfake_unresolved.so", "vestara_no_such_symbol"},
                                    {"libfake_throws.so", "unknown type"},
                                    {"nowhere.so", "No such file"},
                                    {".", "no file"}};
    for (const auto& [pLibrary, pMessage] : kRows)
        ExpectRefusal(Folder + "/" + pLibrary, pMessage);

    const std::string Cut = testing::TempDir() + "vestara-cut-" + std::to_string(getpid()) + ".so";
    const std::string Good = Folder + "/libfake_good.so";
    const std::uintmax_t Size = std::filesystem::file_size(Good);
    for (const std::uintmax_t Left :
         {std::uintmax_t{0}, std::uintmax_t{63}, std::uintmax_t{64}, Size / 2, Size - 1}) {
        std::filesystem::copy_file(Good, Cut);
        std::filesystem::resize_file(Cut, Left);
        ExpectRefusal(Cut, Left < 64 ? "too short" : "cut short");
        std::filesystem::remove(Cut);
    }
}
