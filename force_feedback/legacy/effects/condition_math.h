// Rules shared by every spring and damper, native or simulated: the stored
// DICONDITION array, its strength scaling, the load figure, the axis choice
// and the host force laws.
#pragma once

#include <array>

#include "com_abi.h"
#include "force_feedback/legacy/effects/effect_host.h"

namespace conditions {

enum class Kind { kSpring, kDamper };

inline constexpr DWORD kBlockSize = sizeof(DICONDITION);  // 24
inline constexpr int kNoBlock = -1;

inline DWORD BlockCount(DWORD typeSpecificSize) { return typeSpecificSize / kBlockSize; }
DICONDITION ReadBlock(const BYTE* data, DWORD index);

// Scales every block's coefficients and saturations by `strength`.
void ScaleBlocks(BYTE* data, DWORD count, LONG strength);

// Ranking figure of a playing condition; reads block 0 only.
DWORD Load(Kind kind, const BYTE* data, DWORD count, DWORD gain);

// Dead band of a simulated spring block, on the displacement scale.
struct BandEdges {
    LONG lower = -1;
    LONG upper = 1;
};
BandEdges EdgesOf(const DICONDITION& block);

// What the axis choice looks at.
struct Geometry {
    bool polar;
    LONG direction0;  // angle units when polar
    LONG direction1;
    DWORD axisCount;
    DWORD instance0;  // instance number of axes[0]
    DWORD instance1;
    DWORD blockCount;
};

// Which block each axis plays (kNoBlock: none), and whether that axis plays a
// mirrored copy (the native leaves honour it, the host laws do not).
struct AxisChoice {
    std::array<int, 2> block{kNoBlock, kNoBlock};
    std::array<bool, 2> mirrored{false, false};
};
AxisChoice ChooseAxes(const Geometry& g);

// Offset negated, positive and negative sides swapped; dead band kept.
DICONDITION Mirror(const DICONDITION& c);

// Strength that scales a condition: the host's setting for its kind, full
// strength without a host.
LONG StrengthOf(IEffectHost* host, Kind kind);

// Host spring force on `axis` in device units; d is 0 without calibration.
LONG SpringLaw(IEffectHost* host, int axis, const DICONDITION& c, BandEdges edges, DWORD gain);
// Host damper force on `axis` in device units; no saturation, offset or band.
LONG DamperLaw(IEffectHost* host, int axis, const DICONDITION& c, DWORD gain);

}  // namespace conditions
