// Cost of one simulation pass over the effects: Update + GetForce per class,
// and a whole pass over 64 playing effects of mixed types.
#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "force_feedback/legacy/effects/effect_factory.h"
#include "force_feedback/legacy/effects/effect_test_support.h"

namespace {

constexpr int kSlots = 64;

// Parameters a game would send for each type: two axes, a polar direction,
// an envelope on the forces, conditions on both axes.
std::unique_ptr<CEffect> PlayingEffect(EffectFamily family, DWORD type, FakeEffectHost& host, int salt) {
    auto effect = CreateEffect(family, type);
    EffectBlock block;
    block.Polar(4500 + salt * 500).Envelope(0, 100000, 0, 100000);
    const DICONDITION condition{0, 8000, 8000, 9000, 9000, 500};
    switch (type) {
        case kEffectConstant: block.Params(DICONSTANTFORCE{6000}); break;
        case kEffectRamp: block.DurationMs(5000).Params(DIRAMPFORCE{-8000, 8000}); break;
        case kEffectCustom: block.Params(DICUSTOMFORCE{1, 10000, 0, nullptr}); break;
        case kEffectSpring:
        case kEffectDamper: block.Conditions({condition, condition}); break;
        default: block.Params(DIPERIODIC{7000, 500, 0, 50000u + salt * 1000u}); break;
    }
    effect->SetSimThread(&host);
    effect->SetParameters(kAllParams | DIEP_ENVELOPE, block.Get());
    effect->SetHardwareSlot(salt % 3);
    effect->Start(0, kInfinite);
    return effect;
}

void Pass(std::vector<std::unique_ptr<CEffect>>& effects, FakeEffectHost& host) {
    const SimTick tick{8};
    LONG sum[4] = {};
    for (auto& e : effects) {
        e->Update(&tick);
        LONG x, y, c;
        if (e->GetForce(&x, &y, &c) == S_OK) {
            sum[c ? 0 : 2] += x;
            sum[c ? 1 : 3] += y;
        }
    }
    host.position[0] = (host.position[0] + 7) & 0xFF;  // the stick moves
    host.velocity[0] = host.position[0] << 10;
    if (host.queued.size() > 1024) host.queued.clear();
    benchmark::DoNotOptimize(sum);
}

void BM_UpdateAndGetForce(benchmark::State& state) {
    const auto family = static_cast<EffectFamily>(state.range(0));
    const auto type = static_cast<DWORD>(state.range(1));
    FakeEffectHost host;
    std::vector<std::unique_ptr<CEffect>> one;
    one.push_back(PlayingEffect(family, type, host, 1));
    for (auto _ : state) Pass(one, host);
}
BENCHMARK(BM_UpdateAndGetForce)
    ->ArgNames({"family", "type"})
    ->Args({static_cast<int>(EffectFamily::kHiResWheel), kEffectConstant})
    ->Args({static_cast<int>(EffectFamily::kHiResWheel), kEffectRamp})
    ->Args({static_cast<int>(EffectFamily::kHiResWheel), kEffectSquare})
    ->Args({static_cast<int>(EffectFamily::kHiResWheel), kEffectSine})
    ->Args({static_cast<int>(EffectFamily::kHiResWheel), kEffectTriangle})
    ->Args({static_cast<int>(EffectFamily::kHiResWheel), kEffectSawUp})
    ->Args({static_cast<int>(EffectFamily::kHiResWheel), kEffectSawDown})
    ->Args({static_cast<int>(EffectFamily::kHiResWheel), kEffectCustom})
    ->Args({static_cast<int>(EffectFamily::kHiResWheel), kEffectSpring})
    ->Args({static_cast<int>(EffectFamily::kHiResWheel), kEffectDamper})
    ->Args({static_cast<int>(EffectFamily::kLowResWheel), kEffectSpring})
    ->Args({static_cast<int>(EffectFamily::kLowResWheel), kEffectDamper})
    ->Args({static_cast<int>(EffectFamily::kHiResJoystick), kEffectSpring})
    ->Args({static_cast<int>(EffectFamily::kLowResJoystick), kEffectDamper})
    ->Args({static_cast<int>(EffectFamily::kKarvonaStyleJoystick), kEffectSpring})
    ->Args({static_cast<int>(EffectFamily::kRumble), kEffectSpring})
    ->Args({static_cast<int>(EffectFamily::kRumble), kEffectDamper});

// 64 playing effects, every type in turn, on a low-resolution wheel (all
// conditions simulated, the costliest case) and on a high-resolution wheel.
void BM_PassOver64MixedEffects(benchmark::State& state) {
    constexpr DWORD kMix[] = {kEffectConstant, kEffectRamp, kEffectSquare, kEffectSine, kEffectTriangle,
                              kEffectSawUp, kEffectSawDown, kEffectSpring, kEffectDamper, kEffectCustom};
    const auto family = static_cast<EffectFamily>(state.range(0));
    FakeEffectHost host;
    std::vector<std::unique_ptr<CEffect>> effects;
    for (int i = 0; i < kSlots; ++i) effects.push_back(PlayingEffect(family, kMix[i % 10], host, i));
    for (auto _ : state) Pass(effects, host);
}
BENCHMARK(BM_PassOver64MixedEffects)
    ->ArgName("family")
    ->Arg(static_cast<int>(EffectFamily::kLowResWheel))
    ->Arg(static_cast<int>(EffectFamily::kHiResWheel));

}  // namespace
