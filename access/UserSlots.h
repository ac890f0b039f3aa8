#pragma once
// The controller's door-lock users.

// Slots are numbered from 0; the controller has this many, filled or not.
inline constexpr int kUserSlots = 30;
