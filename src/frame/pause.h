// Pauses that the device needs between two steps.
#pragma once

// Waits `milliseconds`, also across signals.
void pause_ms(unsigned milliseconds);
