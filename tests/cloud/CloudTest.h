#pragma once
// What the tests of the cloud side share: sending a command, and processing a reply whose effects are
// compared whole.

#include "support/AccountTest.h"

namespace support
{

inline std::string Missing(const std::string& Key)
{
    return "report vestarai 3023: \"" + Key + "\" not identified";
}

class CloudTest : public AccountTest
{
protected:
    int Send(CVestaraInterface& Account, int Method, int Command, const char* LocationID = "loc-1",
             const char* DeviceID = "dev-1", const char* UserID = "per-%n1")
    {
        return Account.SendCommand(std::make_unique<CVestaraCommand>(
            static_cast<VestaraMethod>(Method), static_cast<CommandID>(Command), LocationID, DeviceID, UserID,
            "acc-%n1"));
    }
    /// Expects a reply's result and effects. Traces among them are behind the one that names the command;
    /// where none is expected tracing is off.
    void Expect(CVestaraInterface& Account, int Command, const std::string& Json, int Result,
                const Lines& Effects, const char* DeviceID = "", const char* UserID = "")
    {
        const Lines Start = {"~trace: ProcessingResponse [" + std::to_string(Command) + "]"};
        const bool bTracing = WithTracing(false, Effects).size() < Effects.size();
        Account.TraceEnabled(bTracing);
        const auto eCommand = static_cast<CommandID>(Command);
        EXPECT_EQ(Process(Account, eCommand, Json, "loc-9", DeviceID, UserID), Result);
        EXPECT_EQ(TakeEffectsButPace(), WithTracing(bTracing, Start + Effects));
    }
    void RemoveAccounts()
    {
        while (m_pSystem->NBridges() > 0)
            m_pSystem->RemoveInterface(m_pSystem->Bridge(0)->ID());
    }
};

} // namespace support
