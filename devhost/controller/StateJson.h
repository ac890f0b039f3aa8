#pragma once
// The system's state as JSON, for the configurator.

#include "devhost/controller/ExtendedPage.h"
#include "devhost/framework/diagnostics/DiagnosticLog.h"
#include "devhost/framework/system/System.h"

#include <nlohmann/json.hpp>

namespace devhost
{

// All for the host thread. Nothing here shows a token.

/// A lock: names, state, battery, signal, progress, error, users.
nlohmann::json LockJson(CDoorLock& Lock);
/// An interface: names, counters, ids of its locks. Whether it is the master is the caller's to add.
nlohmann::json InterfaceJson(System& Host, CNetworkBridge& Bridge);
nlohmann::json CountersJson(const CNetworkBridge& Bridge);
/// A short text that stands for the names of choices in their order; other names or another order give
/// another one.
std::string ListMark(const std::vector<std::string>& Names);
nlohmann::json PageJson(const PropertyPage& Page);
nlohmann::json ExtendedPageJson(const ExtendedPage& Page);
/// @param ShowPin false: the PIN is left out.
nlohmann::json UserJson(int Slot, const CUser& User, bool ShowPin);
nlohmann::json LogEntryJson(const LogEntry& Entry);
nlohmann::json SaveJson(const SaveState& State);

/// The typed items of a lock's page, [{"string":"..."},{"int":0}, ...].
/// @param ShowSecrets false: the text after "Programming Code" is hidden.
nlohmann::json MessageJson(const CQXMSG& Message, bool ShowSecrets);

} // namespace devhost
