#include "tools/player/raw_forms.h"

#include <cerrno>
#include <cstdlib>
#include <cctype>
#include <cstddef>
#include <cstring>
#include <sstream>

#include "tools/player/scenario.h"

namespace ffplay {
namespace {

constexpr long long kNominal = 10000;
constexpr long long kFullCircle = 36000;
constexpr size_t kMaxRawItems = 1u << 16;

// A 32-bit value as DirectInput passes it: decimal (signed or not) or 0x hex.
bool Raw32(const std::string& text, DWORD* out) {
    if (text.empty()) return false;
    errno = 0;
    char* end = nullptr;
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        if (text[2] == '-' || text[2] == '+') return false;
        const unsigned long long v = std::strtoull(text.c_str() + 2, &end, 16);
        if (*end != '\0' || errno != 0 || v > 0xFFFFFFFFull) return false;
        *out = static_cast<DWORD>(v);
        return true;
    }
    const long long v = std::strtoll(text.c_str(), &end, 10);
    if (*end != '\0' || errno != 0 || v < INT32_MIN || v > 0xFFFFFFFFll) return false;
    *out = static_cast<DWORD>(static_cast<std::uint32_t>(v));
    return true;
}

std::string NotRaw(const std::string& key, const std::string& text) {
    return key + ": '" + text + "' is not a 32-bit value (decimal or 0x hex)";
}

std::vector<std::string> Split(const std::string& text) {
    std::vector<std::string> parts;
    std::stringstream in(text);
    std::string part;
    while (std::getline(in, part, ',')) parts.push_back(part);
    if (!text.empty() && text.back() == ',') parts.push_back("");
    return parts;
}

bool RawList(const std::string& text, std::vector<DWORD>* out) {
    out->clear();
    const std::vector<std::string> parts = Split(text);
    if (parts.empty() || parts.size() > kMaxRawItems) return false;
    for (const std::string& p : parts) {
        DWORD v = 0;
        if (!Raw32(p, &v)) return false;
        out->push_back(v);
    }
    return true;
}

bool Bytes(const std::string& text, std::vector<std::uint8_t>* out) {
    out->clear();
    if (text.size() % 2 || text.size() / 2 > kMaxRawItems) return false;
    for (size_t i = 0; i < text.size(); i += 2) {
        char digits[3] = {text[i], text[i + 1], 0};
        char* end = nullptr;
        const unsigned long v = std::strtoul(digits, &end, 16);
        if (*end != '\0' || !std::isxdigit(static_cast<unsigned char>(text[i]))) return false;
        out->push_back(static_cast<std::uint8_t>(v));
    }
    return true;
}

void Signed(const std::string& key, DWORD v, long long lo, long long hi, std::vector<std::string>* warnings) {
    const long long s = static_cast<std::int32_t>(v);
    if (s < lo || s > hi)
        warnings->push_back(key + " " + std::to_string(s) + " is outside DirectInput's nominal range (" +
                            std::to_string(lo) + " to " + std::to_string(hi) + "); played as given");
}

void Unsigned(const std::string& key, DWORD v, long long hi, std::vector<std::string>* warnings) {
    if (v > hi)
        warnings->push_back(key + " " + std::to_string(v) + " is outside DirectInput's nominal range (0 to " +
                            std::to_string(hi) + "); played as given");
}

enum class Block { kConstant, kRamp, kPeriodic, kCondition, kCustom };
Block BlockOf(DWORD typeIndex) {
    if (typeIndex == 0) return Block::kConstant;
    if (typeIndex == 1) return Block::kRamp;
    if (typeIndex <= 6) return Block::kPeriodic;
    if (typeIndex <= 10) return Block::kCondition;
    return Block::kCustom;
}

}  // namespace

std::optional<DWORD> RawHandleName(const std::string& name) {
    if (name.rfind("handle:", 0) != 0) return std::nullopt;
    DWORD v = 0;
    if (!Raw32(name.substr(7), &v)) return std::nullopt;
    return v;
}

std::string ApplyRawEffectKey(Step& step, bool* conditionsTaken, const std::string& key, const std::string& value,
                              std::vector<std::string>* w) {
    EffectSpec& s = step.desc;
    RawEffect& r = s.raw;
    const Block block = BlockOf(s.typeIndex);
    const std::string k = key.substr(4);
    DWORD v = 0;
    const bool single = Raw32(value, &v);
    // Keys with one 32-bit value.
    struct One {
        const char* name;
        std::optional<DWORD> RawEffect::*field;
    };
    static const One kOne[] = {
        {"size", &RawEffect::size},       {"dieff", &RawEffect::effectFlags}, {"duration", &RawEffect::duration},
        {"sample", &RawEffect::samplePeriod}, {"gain", &RawEffect::gain},   {"trigger", &RawEffect::trigger},
        {"repeat", &RawEffect::repeat},   {"delay", &RawEffect::delay},     {"axis-count", &RawEffect::axisCount},
    };
    for (const One& one : kOne) {
        if (k != one.name) continue;
        if (!single) return NotRaw(key, value);
        r.*one.field = v;
        if (k == "gain") Unsigned(key, v, kNominal, w);
        return "";
    }
    if (k == "flags") {
        if (!single) return NotRaw(key, value);
        step.raw.paramFlags = v;
        return "";
    }
    if (k == "axes" || k == "direction") {
        const bool axes = k == "axes";
        (axes ? r.axesNull : r.directionsNull) = value == "null";
        std::vector<DWORD> list;
        if (value == "null" || value == "none") list.clear();
        else if (!RawList(value, &list)) return key + ": '" + value + "' is not a list of 32-bit values, none or null";
        if (axes) r.axes = list;
        else r.directions = std::vector<LONG>(list.begin(), list.end());
        return "";
    }
    if (k == "envelope") {
        if (value == "none") {
            s.hasEnvelope = false;
            step.paramFlags |= DIEP_ENVELOPE;
            return "";
        }
        std::vector<DWORD> e;
        if (!RawList(value, &e) || e.size() != 4) return key + " needs attack level,attack us,fade level,fade us or none";
        Unsigned(key + " attack level", e[0], kNominal, w);
        Unsigned(key + " fade level", e[2], kNominal, w);
        s.hasEnvelope = true;
        // Times are passed through ApplyRawEffect's microseconds, levels as is.
        s.envelope = {sizeof(DIENVELOPE), e[0], e[1], e[2], e[3]};
        r.envelopeInUs = true;
        step.paramFlags |= DIEP_ENVELOPE;
        return "";
    }
    if (k == "block") {
        r.blockNull = value == "none";
        std::vector<std::uint8_t> bytes;
        if (!r.blockNull && !Bytes(value, &bytes)) return key + ": '" + value + "' is not hex bytes or none";
        r.block = bytes;
        return "";
    }
    // Type-specific values, into the friendly fields (they hold any 32-bit value).
    switch (block) {
        case Block::kConstant:
            if (k != "magnitude") break;
            if (!single) return NotRaw(key, value);
            s.constant.lMagnitude = static_cast<LONG>(v);
            Signed(key, v, -kNominal, kNominal, w);
            return "";
        case Block::kRamp:
            if (k != "start" && k != "end") break;
            if (!single) return NotRaw(key, value);
            (k == "start" ? s.ramp.lStart : s.ramp.lEnd) = static_cast<LONG>(v);
            Signed(key, v, -kNominal, kNominal, w);
            return "";
        case Block::kPeriodic:
            if (!single && (k == "magnitude" || k == "offset" || k == "phase" || k == "period")) return NotRaw(key, value);
            if (k == "magnitude") s.periodic.dwMagnitude = v, Unsigned(key, v, kNominal, w);
            else if (k == "offset") s.periodic.lOffset = static_cast<LONG>(v), Signed(key, v, -kNominal, kNominal, w);
            else if (k == "phase") s.periodic.dwPhase = v, Unsigned(key, v, kFullCircle - 1, w);
            else if (k == "period") r.period = v;
            else break;
            return "";
        case Block::kCondition: {
            if (k != "condition") break;
            std::vector<DWORD> c;
            if (!RawList(value, &c) || c.size() != 6)
                return key + " needs offset,positive,negative,positive saturation,negative saturation,dead band";
            if (!*conditionsTaken) s.conditions.clear();
            *conditionsTaken = true;
            Signed(key + " offset", c[0], -kNominal, kNominal, w);
            Signed(key + " positive coefficient", c[1], -kNominal, kNominal, w);
            Signed(key + " negative coefficient", c[2], -kNominal, kNominal, w);
            Unsigned(key + " positive saturation", c[3], kNominal, w);
            Unsigned(key + " negative saturation", c[4], kNominal, w);
            Signed(key + " dead band", c[5], 0, kNominal, w);
            s.conditions.push_back({static_cast<LONG>(c[0]), static_cast<LONG>(c[1]), static_cast<LONG>(c[2]), c[3],
                                    c[4], static_cast<LONG>(c[5])});
            return "";
        }
        case Block::kCustom:
            if (k == "channels" || k == "custom-period") {
                if (!single) return NotRaw(key, value);
                if (k == "channels") s.customChannels = v;
                else r.customPeriod = v;
                return "";
            }
            if (k == "samples") {
                r.samplesNullCount.reset();
                if (value.rfind("null:", 0) == 0) {
                    if (!Raw32(value.substr(5), &v)) return NotRaw(key, value);
                    r.samplesNullCount = v;
                    s.customSamples.clear();
                    return "";
                }
                std::vector<DWORD> samples;
                if (value != "none" && !RawList(value, &samples)) return key + ": '" + value + "' is not a list of samples";
                s.customSamples.assign(samples.begin(), samples.end());
                for (DWORD sample : samples) {
                    const long long sv = static_cast<std::int32_t>(sample);
                    if (sv < -kNominal || sv > kNominal) {
                        Signed(key, sample, -kNominal, kNominal, w);
                        break;
                    }
                }
                return "";
            }
            break;
    }
    return "unknown raw parameter '" + key + "' for a " + s.typeName + " effect";
}

bool ParseRawStatement(Step& step, const std::vector<std::string>& words, std::string* error,
                       std::vector<std::string>* warnings) {
    const std::string& verb = words[0];
    DWORD v = 0;
    if (verb == "gain" && words.size() == 2 && words[1].rfind("raw=", 0) == 0) {
        step.kind = StepKind::kGain;
        if (!Raw32(words[1].substr(4), &v)) return *error = NotRaw("gain", words[1].substr(4)), true;
        step.value = v;
        Unsigned("gain", v, kNominal, warnings);
        return true;
    }
    if (verb == "command" && words.size() == 2 && words[1].rfind("0x", 0) == 0) {
        step.kind = StepKind::kCommand;
        if (!Raw32(words[1], &v)) return *error = NotRaw("command", words[1]), true;
        step.value = v;
        return true;
    }
    if (verb == "start" && words.size() >= 3 && words[2].rfind("raw-", 0) == 0) {
        step.kind = StepKind::kStart;
        step.effect = words[1];
        step.raw.handle = RawHandleName(words[1]);
        step.value = 1;
        for (size_t i = 2; i < words.size(); ++i) {
            const auto eq = words[i].find('=');
            const std::string key = words[i].substr(0, eq), value = eq == std::string::npos ? "" : words[i].substr(eq + 1);
            if (!Raw32(value, &v) || (key != "raw-mode" && key != "raw-count"))
                return *error = "usage: start NAME raw-mode=MODE raw-count=COUNT", true;
            (key == "raw-mode" ? step.value2 : step.value) = v;
        }
        return true;
    }
    if ((verb == "stop" || verb == "destroy" || verb == "status") && words.size() == 2 && RawHandleName(words[1])) {
        step.kind = verb == "stop" ? StepKind::kStop : verb == "destroy" ? StepKind::kDestroy : StepKind::kStatus;
        step.effect = words[1];
        step.raw.handle = RawHandleName(words[1]);
        return true;
    }
    if (verb == "input") {
        step.kind = StepKind::kInput;
        const char* usage = "usage: input raw=HEX|none";
        if (words.size() != 2 || words[1].rfind("raw=", 0) != 0) return *error = usage, true;
        const std::string value = words[1].substr(4);
        if (value != "none" && !Bytes(value, &step.raw.inputReport))
            *error = "input raw: '" + value + "' is not hex bytes or none";
        return true;
    }
    if (verb == "escape" && words.size() >= 2 && words[1] == "raw") {
        step.kind = StepKind::kEscape;
        step.raw.escape = true;
        const char* usage = "usage: escape raw command=N [effect=N] in=HEX|none|null out=N";
        bool haveCommand = false;
        for (size_t i = 2; i < words.size(); ++i) {
            const auto eq = words[i].find('=');
            if (eq == std::string::npos) return *error = usage, true;
            const std::string key = words[i].substr(0, eq), value = words[i].substr(eq + 1);
            if (key == "in") {
                step.raw.escapeInNull = value == "null";
                step.raw.escapeIn.clear();
                if (value != "null" && value != "none" && !Bytes(value, &step.raw.escapeIn))
                    return *error = "escape in: '" + value + "' is not hex bytes, none or null", true;
            } else if (!Raw32(value, &v)) {
                return *error = NotRaw("escape " + key, value), true;
            } else if (key == "command") {
                step.value = v, haveCommand = true;
            } else if (key == "effect") {
                step.raw.escapeEffect = v;
            } else if (key == "out") {
                if (v > kMaxRawItems) return *error = "escape out: at most 65536 bytes", true;
                step.raw.escapeOut = v;
            } else {
                return *error = usage, true;
            }
        }
        if (!haveCommand) *error = usage;
        return true;
    }
    return false;
}

void ApplyRawEffect(const EffectSpec& described, DIEFFECT* e, RawStorage* storage) {
    const RawEffect& r = described.raw;
    if (r.size) e->dwSize = *r.size;
    if (r.effectFlags) e->dwFlags = *r.effectFlags;
    if (r.duration) e->dwDuration = *r.duration;
    if (r.samplePeriod) e->dwSamplePeriod = *r.samplePeriod;
    if (r.gain) e->dwGain = *r.gain;
    if (r.trigger) e->dwTriggerButton = *r.trigger;
    if (r.repeat) e->dwTriggerRepeatInterval = *r.repeat;
    if (r.delay) e->dwStartDelay = *r.delay;
    // The arrays are at least as long as the axis count, so a driver reading
    // cAxes entries never reads past them.
    const DWORD count = r.axisCount ? *r.axisCount : e->cAxes;
    const size_t room = count < kMaxRawItems ? count : 0;
    if (r.axes) {
        storage->axes = *r.axes;
        if (storage->axes.size() < room) storage->axes.resize(room, 0);
        e->rgdwAxes = r.axesNull ? nullptr : storage->axes.data();
    } else if (r.axisCount && count > e->cAxes) {
        storage->axes.assign(e->rgdwAxes, e->rgdwAxes + e->cAxes);
        storage->axes.resize(room, 0);
        e->rgdwAxes = storage->axes.data();
    }
    if (r.directions || (r.axisCount && count > e->cAxes)) {
        storage->directions = r.directions ? *r.directions : std::vector<LONG>(e->rglDirection, e->rglDirection + e->cAxes);
        if (storage->directions.size() < room) storage->directions.resize(room, 0);
        e->rglDirection = r.directionsNull ? nullptr : storage->directions.data();
    }
    e->cAxes = count;
    if (e->lpEnvelope && described.hasEnvelope && r.envelopeInUs) {
        e->lpEnvelope->dwAttackTime = described.envelope.dwAttackTime;
        e->lpEnvelope->dwFadeTime = described.envelope.dwFadeTime;
    }
    auto* bytes = static_cast<std::uint8_t*>(e->lpvTypeSpecificParams);
    if (r.period && bytes && e->cbTypeSpecificParams >= sizeof(DIPERIODIC))
        std::memcpy(bytes + offsetof(DIPERIODIC, dwPeriod), &*r.period, sizeof(DWORD));
    if (bytes && e->cbTypeSpecificParams == sizeof(DICUSTOMFORCE) && BlockOf(described.typeIndex) == Block::kCustom) {
        if (r.customPeriod) std::memcpy(bytes + offsetof(DICUSTOMFORCE, dwSamplePeriod), &*r.customPeriod, sizeof(DWORD));
        if (r.samplesNullCount) {
            DICUSTOMFORCE custom;
            std::memcpy(&custom, bytes, sizeof custom);
            custom.cSamples = *r.samplesNullCount;
            custom.rglForceData = nullptr;
            std::memcpy(bytes, &custom, sizeof custom);
        }
    }
    if (r.block) {
        storage->block = *r.block;
        e->lpvTypeSpecificParams = r.blockNull || storage->block.empty() ? nullptr : storage->block.data();
        e->cbTypeSpecificParams = r.blockNull ? 0 : static_cast<DWORD>(storage->block.size());
    }
}

HRESULT CallRawEscape(IDirectInputEffectDriver* driver, DWORD joystickId, const Step& step) {
    std::vector<std::uint8_t> in = step.raw.escapeIn;
    std::vector<std::uint8_t> out(step.raw.escapeOut);
    DIEFFESCAPE escape{sizeof(DIEFFESCAPE), step.value,
                       step.raw.escapeInNull ? nullptr : (in.empty() ? nullptr : in.data()),
                       static_cast<DWORD>(in.size()), out.empty() ? nullptr : out.data(),
                       static_cast<DWORD>(out.size())};
    return driver->Escape(joystickId, step.raw.escapeEffect, &escape);
}

}  // namespace ffplay
