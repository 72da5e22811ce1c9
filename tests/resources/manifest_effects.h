// Exit-code bits of "kvo_resource_probe.exe --manifest-effects".
#pragma once

// Wine reports per-monitor DPI awareness with or without a manifest, so the
// manifest's DPI entry is checked in its text only.

constexpr int kManifestEffectsReported = 0x40;
constexpr int kReportsWindows10 = 0x1;
constexpr int kCommonControls6 = 0x2;
