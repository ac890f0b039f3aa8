// Lets a lock wake, report and obey; who may command it is left to the REST API and the admin routes.
#include "cloudsim/model/Heartbeats.h"

namespace cloudsim
{
namespace
{

void MissHeartbeat(Lock& lock, TimePoint at)
{
    ++lock.missedHeartbeats;
    if (lock.alive && lock.missedHeartbeats >= kMissedHeartbeatsUntilDead) {
        lock.alive = false;
        lock.updatedAt = at;
    }
}

void Report(Lock& lock, TimePoint at)
{
    if (lock.pending)
        lock.physical.state = *lock.pending;
    lock.pending.reset();
    if (lock.reported != lock.physical || !lock.alive)
        lock.updatedAt = at;
    lock.reported = lock.physical;
    lock.alive = true;
    lock.missedHeartbeats = 0;
    lock.connectedAt = at;
}

} // namespace

void WakeLock(Lock& lock, TimePoint now)
{
    if (lock.online)
        Report(lock, now);
    else
        MissHeartbeat(lock, now);
    lock.nextHeartbeat = now + lock.heartbeatInterval;
}

void AdvanceLock(Lock& lock, TimePoint now)
{
    if (now < lock.nextHeartbeat)
        return;
    // After a long standstill only the last few heartbeats can still matter.
    const auto skipped = (now - lock.nextHeartbeat) / lock.heartbeatInterval - kMissedHeartbeatsUntilDead;
    if (skipped > 0)
        lock.nextHeartbeat += skipped * lock.heartbeatInterval;
    while (lock.nextHeartbeat <= now)
        WakeLock(lock, lock.nextHeartbeat);
}

void TurnKnob(Lock& lock, LockState state, TimePoint now)
{
    lock.physical.state = state;
    if (lock.online)
        WakeLock(lock, now);
}

} // namespace cloudsim
