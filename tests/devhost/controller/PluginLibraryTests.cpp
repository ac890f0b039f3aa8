// Which libraries are accepted, and what a refusal says.

#include "devhost/controller/PluginLibrary.h"

#include <fstream>
#include <gtest/gtest.h>

TEST(PluginLibrary, RefusesWithAMessageThatNamesWhatIsWrong)
{
    const std::string Folder = FAKE_LIBRARY_DIR;
    std::ofstream(Folder + "/not-a-library.so") << "text";
    const char* const kRows[][2] = {{"libfake_no_dllmain.so", "_Z7DllMainijPv is missing"},
                                    {"libfake_no_signature.so", "GetLibSignature is missing"},
                                    {"libfake_no_component.so", "CreateSystemComponent is missing"},
                                    {"libfake_wrong_signature.so", "0x08000091"},
                                    {"libfake_refuses.so", "DllMain did not return 1"},
                                    {"libfake_unresolved.so", "vestara_no_such_symbol"},
                                    {"not-a-library.so", "cannot load"},
                                    {"nowhere.so", "nowhere.so"}};
    for (const auto& [pLibrary, pMessage] : kRows) {
        try {
            const devhost::PluginLibrary Library(Folder + "/" + pLibrary);
            ADD_FAILURE() << pLibrary << " was accepted";
        } catch (const devhost::PluginError& Error) {
            EXPECT_NE(std::string(Error.what()).find(pMessage), std::string::npos) << Error.what();
        }
    }
    const devhost::PluginLibrary Library(Folder + "/libfake_good.so");
    EXPECT_EQ(Library.EntryPoints().CreateDeviceInterface(nullptr), nullptr);
}
