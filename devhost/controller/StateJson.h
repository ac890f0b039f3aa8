#pragma once
// The system's state as JSON, for the configurator.

#include "devhost/controller/CloudLocks.h"
#include "devhost/controller/ExtendedPage.h"
#include "devhost/controller/LockHistory.h"
#include "devhost/framework/diagnostics/DiagnosticLog.h"
#include "devhost/framework/system/System.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <string>

namespace devhost
{

// All for the host thread. Nothing here shows a token.

/// A lock: names, state, battery, signal, progress, error, users, and what the cloud says of it. Asks the
/// lock for its page, which tells when it warns of its battery.
nlohmann::json LockJson(CDoorLock& lock, const CloudLock& cloud);
/// The heartbeat without its device, which whoever asks knows.
nlohmann::json HeartbeatJson(const Heartbeat& heartbeat);
/// An interface: names, health, counters, ids of its locks. Whether it is the master is the caller's to add.
nlohmann::json InterfaceJson(System& host, CNetworkBridge& bridge);
/// The traffic of an account, and whether it has requests to send; null without a lock, which would know.
nlohmann::json CountersJson(System& host, const CNetworkBridge& bridge);
nlohmann::json HealthJson(const AccountHealth::Report& health);
/// A short text that stands for the names of choices in their order; other names or another order give
/// another one.
std::string ListMark(const std::vector<std::string>& names);
nlohmann::json PageJson(const PropertyPage& page);
nlohmann::json ExtendedPageJson(const ExtendedPage& page);
/// @param showPin false: the PIN is left out.
nlohmann::json UserJson(int slot, const CUser& user, bool showPin);
nlohmann::json LogEntryJson(const LogEntry& entry);
nlohmann::json SaveJson(const SaveState& state);
/// The time in UTC with milliseconds, as RFC 3339 writes it.
std::string TimeText(std::chrono::system_clock::time_point time);

} // namespace devhost
