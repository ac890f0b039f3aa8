#pragma once

#include "cloudsim/model/World.h"

namespace cloudsim
{

// After so many missed heartbeats in a row the cloud takes a lock for dead.
inline constexpr int kMissedHeartbeatsUntilDead = 3;

// Lets the heartbeats that are due at or before now take place, each at its own time.
void AdvanceLock(Lock& lock, TimePoint now);

// The lock wakes, whether or not a heartbeat is due: it carries out the pending command, tells the cloud its
// status, and starts its interval anew. A lock that is offline reaches nobody and counts a missed heartbeat.
void WakeLock(Lock& lock, TimePoint now);

// Somebody turns the knob or enters a PIN at the door: the bolt moves at once. A lock wakes when its knob is
// turned, so the cloud learns of it at once too, unless the lock is offline. A command that is still pending
// is carried out by that waking and so has the last word.
void TurnKnob(Lock& lock, LockState state, TimePoint now);

} // namespace cloudsim
