#pragma once
// What the tests of the cloud side share: sending a command, and processing a reply whose effects are
// compared whole.

#include "tests/support/AccountTest.h"

namespace support
{

inline std::string Missing(const std::string& key)
{
    return "report vestarai 3023: \"" + key + "\" not identified";
}

class CloudTest : public AccountTest
{
protected:
    int Send(CVestaraInterface& account, int method, int commandNumber, const char* locationId = "loc-1",
             const char* deviceId = "dev-1", const char* userId = "per-%n1")
    {
        return account.SendCommand(std::make_unique<CVestaraCommand>(
            static_cast<VestaraMethod>(method), static_cast<CommandID>(commandNumber), locationId, deviceId,
            userId, "acc-%n1"));
    }
    /// Expects a reply's result and effects. Traces among them are behind the one that names the command;
    /// where none is expected tracing is off.
    void Expect(CVestaraInterface& account, int commandNumber, const std::string& json, int result,
                const Lines& effects, const char* deviceId = "", const char* userId = "")
    {
        const Lines start = {"~trace: ProcessingResponse [" + std::to_string(commandNumber) + "]"};
        const bool tracing = WithTracing(false, effects).size() < effects.size();
        account.TraceEnabled(tracing);
        const auto commandId = static_cast<CommandID>(commandNumber);
        EXPECT_EQ(Process(account, commandId, json, "loc-9", deviceId, userId), result);
        EXPECT_EQ(TakeEffectsButPace(), WithTracing(tracing, start + effects));
    }
    void RemoveAccounts()
    {
        while (m_system->NBridges() > 0)
            m_system->RemoveInterface(m_system->Bridge(0)->ID());
    }
};

} // namespace support
