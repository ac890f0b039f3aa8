// What the refusal of a library says. One that is accepted is the program's test's, one without any entry
// point the end-to-end test's.

#include "devhost/controller/PluginLibrary.h"

#include <gtest/gtest.h>

TEST(PluginLibrary, RefusesWithAMessageThatNamesWhatIsWrong)
{
    const std::string Folder = FAKE_LIBRARY_DIR;
    const char* const kRows[][2] = {{"libfake_no_component.so", "CreateSystemComponent is missing"},
                                    {"libfake_wrong_signature.so", "0x08000091"},
                                    {"libfake_refuses.so", "DllMain did not return 1"},
                                    {"libfake_unresolved.so", "vestara_no_such_symbol"},
                                    {"nowhere.so", "cannot load"}};
    for (const auto& [pLibrary, pMessage] : kRows) {
        try {
            const devhost::PluginLibrary Library(Folder + "/" + pLibrary);
            ADD_FAILURE() << pLibrary << " was accepted";
        } catch (const devhost::PluginError& Error) {
            EXPECT_NE(std::string(Error.what()).find(pMessage), std::string::npos) << Error.what();
        }
    }
}
