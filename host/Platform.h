#pragma once
// Free services of the host process.

// Blocks the calling thread for uMs milliseconds. On an interface's worker it ends early when the bridge
// shuts down, so that a stop never waits for a pause.
void Sleep(unsigned uMs);

// Wakes the host's main loop, so that idle calls follow soon. Any thread. Non-zero when the loop was reached.
int SetMainLoopTrigger();
