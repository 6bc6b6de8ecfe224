// Drives every effect class with DIEFFECT blocks and type-specific buffers
// built from fuzz input: SetParameters (several times, with growing axis
// counts), Start, many Updates, GetForce, GetLoad and Stop. Sanitizers catch
// any read or write outside the buffers the blocks describe.
#include <fuzzer/FuzzedDataProvider.h>

#include <array>
#include <vector>

#include "force_feedback/legacy/effects/effect_factory.h"
#include "force_feedback/legacy/effects/effect_test_support.h"

namespace {

constexpr DWORD kTypes[] = {kEffectConstant, kEffectRamp,   kEffectSquare,  kEffectSine,    kEffectTriangle,
                            kEffectSawUp,    kEffectSawDown, kEffectSpring, kEffectDamper,  kEffectInertia,
                            kEffectFriction, kEffectCustom};
constexpr EffectFamily kFamilies[] = {EffectFamily::kHiResWheel,     EffectFamily::kHiResWheelSimulatedDampers,
                                      EffectFamily::kLowResWheel,    EffectFamily::kHiResJoystick,
                                      EffectFamily::kLowResJoystick, EffectFamily::kKarvonaStyleJoystick,
                                      EffectFamily::kRumble};
// Arrays the application owns; cAxes never claims more than these hold
// (DirectInput guarantees that much), but may claim more than the effect takes.
constexpr DWORD kAppAxes = 40;

struct Application {
    std::array<DWORD, kAppAxes> axes{};
    std::array<LONG, kAppAxes> directions{};
    DIENVELOPE envelope{};
    std::vector<BYTE> typeSpecific;
    DIEFFECT effect{};
};

void FillEffect(FuzzedDataProvider& in, Application& app) {
    for (auto& a : app.axes) a = in.ConsumeIntegral<DWORD>() & 0x00FFFF00;  // instance bits only
    for (auto& d : app.directions) d = in.ConsumeIntegral<LONG>();
    app.envelope = {sizeof(DIENVELOPE), in.ConsumeIntegral<DWORD>(), in.ConsumeIntegral<DWORD>(),
                    in.ConsumeIntegral<DWORD>(), in.ConsumeIntegral<DWORD>()};
    app.typeSpecific = in.ConsumeBytes<BYTE>(in.ConsumeIntegralInRange<size_t>(0, 120));
    DIEFFECT& e = app.effect;
    e.dwSize = in.ConsumeBool() ? sizeof(DIEFFECT) : in.ConsumeIntegralInRange<DWORD>(0, sizeof(DIEFFECT));
    e.dwFlags = in.ConsumeIntegral<DWORD>();
    e.dwDuration = in.ConsumeIntegral<DWORD>();
    e.dwSamplePeriod = in.ConsumeIntegral<DWORD>();
    e.dwGain = in.ConsumeIntegral<DWORD>();
    e.dwTriggerButton = in.ConsumeIntegral<DWORD>();
    e.dwTriggerRepeatInterval = in.ConsumeIntegral<DWORD>();
    e.cAxes = in.ConsumeBool() ? in.ConsumeIntegralInRange<DWORD>(0, kAppAxes) : in.ConsumeIntegral<DWORD>() % 3;
    e.rgdwAxes = in.ConsumeBool() ? app.axes.data() : nullptr;
    e.rglDirection = in.ConsumeBool() ? app.directions.data() : nullptr;
    e.lpEnvelope = in.ConsumeBool() ? &app.envelope : nullptr;
    e.cbTypeSpecificParams = static_cast<DWORD>(app.typeSpecific.size());
    e.lpvTypeSpecificParams = app.typeSpecific.empty() || in.ConsumeBool() == false ? app.typeSpecific.data() : nullptr;
    e.dwStartDelay = in.ConsumeIntegral<DWORD>() % 100000;
}

void Play(FuzzedDataProvider& in, CEffect& effect, FakeEffectHost& host) {
    effect.Start(0, in.ConsumeIntegral<DWORD>() % 4);
    const int ticks = in.ConsumeIntegralInRange(0, 400);
    for (int i = 0; i < ticks; ++i) {
        if (in.ConsumeBool()) effect.SetHardwareSlot(in.ConsumeIntegralInRange<LONG>(-1, 2));
        host.position[i & 1] = in.ConsumeIntegral<LONG>();
        host.velocity[i & 1] = in.ConsumeIntegral<LONG>();
        const SimTick tick{in.ConsumeIntegralInRange<DWORD>(0, 40)};
        effect.Update(&tick);
        LONG x = 0, y = 0, c = 0;
        effect.GetForce(&x, &y, &c);
        (void)effect.GetLoad();
        if (host.queued.size() > 64) host.queued.clear();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    const EffectFamily family = in.PickValueInArray(kFamilies);
    const DWORD type = in.PickValueInArray(kTypes);
    auto effect = CreateEffect(family, type);
    if (!effect) return 0;
    FakeEffectHost host;
    host.rawCalibration = CalibrationRecord{{{in.ConsumeIntegral<LONG>(), in.ConsumeIntegral<LONG>(),
                                              in.ConsumeIntegral<LONG>()},
                                             {0, 128, 255}}};
    host.springStrength = in.ConsumeIntegral<LONG>();
    host.damperStrength = in.ConsumeIntegral<LONG>();
    if (in.ConsumeBool()) effect->SetSimThread(&host);
    Application app;
    for (int call = in.ConsumeIntegralInRange(1, 4); call > 0 && in.remaining_bytes() > 0; --call) {
        FillEffect(in, app);
        effect->SetParameters(in.ConsumeIntegral<DWORD>(), in.ConsumeBool() ? &app.effect : nullptr);
        Play(in, *effect, host);
    }
    effect->Stop();
    return 0;
}
