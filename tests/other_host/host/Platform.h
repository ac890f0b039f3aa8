#pragma once
// Free services.

void Sleep(unsigned milliseconds);
int SetMainLoopTrigger();
