#include "tools/player/scenario.h"

#include "tools/player/result_names.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>

namespace ffplay {
namespace {

constexpr LONG kFullScale = 10000;
constexpr LONG kFullCircle = 36000;
constexpr DWORD kMaxTimeMs = 3600000;  // one hour: longer is a typo, not a scenario
constexpr double kMaxVelocity = 100;  // travel per second; the emulated wheel never gets near it

struct TypeRow {
    const char* name;
    DWORD typeIndex;
    enum Params { kConstant, kRamp, kPeriodic, kCondition, kCustom } params;
};
// The driver's effect type indices, by the names DirectInput gives the GUIDs.
constexpr TypeRow kTypes[] = {
    {"constant", 0, TypeRow::kConstant},   {"ramp", 1, TypeRow::kRamp},
    {"square", 2, TypeRow::kPeriodic},     {"sine", 3, TypeRow::kPeriodic},
    {"triangle", 4, TypeRow::kPeriodic},   {"sawtoothup", 5, TypeRow::kPeriodic},
    {"sawtoothdown", 6, TypeRow::kPeriodic}, {"spring", 7, TypeRow::kCondition},
    {"damper", 8, TypeRow::kCondition},    {"inertia", 9, TypeRow::kCondition},
    {"friction", 10, TypeRow::kCondition}, {"custom", 256, TypeRow::kCustom},
};

struct CommandRow {
    const char* name;
    DWORD command;
};
constexpr CommandRow kCommands[] = {
    {"reset", DISFFC_RESET},       {"stopall", DISFFC_STOPALL},
    {"pause", DISFFC_PAUSE},       {"continue", DISFFC_CONTINUE},
    {"actuators-on", DISFFC_SETACTUATORSON}, {"actuators-off", DISFFC_SETACTUATORSOFF},
};

std::string Lower(std::string s) {
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return s;
}

const TypeRow* FindType(const std::string& name) {
    for (const TypeRow& row : kTypes)
        if (name == row.name) return &row;
    return nullptr;
}

// Thrown only inside the parser and turned into a ScenarioError for its line.
struct LineError {
    std::string message;
};

long long ParseInteger(const std::string& text, const std::string& what) {
    errno = 0;
    char* end = nullptr;
    const long long v = std::strtoll(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || errno != 0) throw LineError{what + ": '" + text + "' is not a whole number"};
    return v;
}

long long InRange(const std::string& text, const std::string& what, long long lo, long long hi) {
    const long long v = ParseInteger(text, what);
    if (v < lo || v > hi)
        throw LineError{what + " " + text + " is out of range (" + std::to_string(lo) + " to " + std::to_string(hi) + ")"};
    return v;
}

DWORD TimeMs(const std::string& text, const std::string& what) {
    if (text == "infinite") return kInfiniteMs;
    return static_cast<DWORD>(InRange(text, what, 0, kMaxTimeMs));
}

std::vector<std::string> SplitList(const std::string& text) {
    std::vector<std::string> parts;
    std::stringstream in(text);
    std::string part;
    while (std::getline(in, part, ',')) parts.push_back(part);
    if (!text.empty() && text.back() == ',') parts.push_back("");
    return parts;
}

std::vector<long long> IntList(const std::string& text, const std::string& what, size_t count, long long lo,
                               long long hi) {
    const std::vector<std::string> parts = SplitList(text);
    if (count != 0 && parts.size() != count)
        throw LineError{what + " needs " + std::to_string(count) + " comma-separated values, got " +
                        std::to_string(parts.size())};
    std::vector<long long> values;
    for (const std::string& p : parts) values.push_back(InRange(p, what, lo, hi));
    return values;
}

float ParseFloat(const std::string& text, const std::string& what) {
    char* end = nullptr;
    errno = 0;
    const float v = std::strtof(text.c_str(), &end);
    // Infinities and NaN are spelled as words that strtof accepts; a person
    // writing a scenario means a finite value, so they are rejected too.
    if (text.empty() || *end != '\0' || errno == ERANGE || !std::isfinite(v))
        throw LineError{what + ": '" + text + "' is not a finite number"};
    return v;
}

double Decimal(const std::string& text, const std::string& what, double lo, double hi) {
    char* end = nullptr;
    errno = 0;
    const double v = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || errno == ERANGE || !std::isfinite(v))
        throw LineError{what + ": '" + text + "' is not a finite number"};
    if (v < lo || v > hi) {
        char range[64];
        std::snprintf(range, sizeof range, " (%g to %g)", lo, hi);
        throw LineError{what + " " + text + " is out of range" + range};
    }
    return v;
}

struct KeyValue {
    std::string key;
    std::string value;
};

KeyValue SplitKey(const std::string& word) {
    const auto eq = word.find('=');
    if (eq == std::string::npos) return {word, ""};
    return {word.substr(0, eq), word.substr(eq + 1)};
}

class Parser {
public:
    explicit Parser(std::string file) { m_result.scenario.file = std::move(file); }
    void Line(int number, const std::vector<std::string>& words);
    ParseResult Finish();

private:
    void Device(const std::vector<std::string>& w);
    void Download(Step& step, const std::vector<std::string>& w);
    void Update(Step& step, const std::vector<std::string>& w);
    void EffectKeys(Step& step, const std::vector<std::string>& w, size_t first);
    void EffectKey(Step& step, const KeyValue& kv);
    bool TypeKey(EffectSpec& desc, const KeyValue& kv, DWORD* flags);
    void Validate(const Step& step) const;
    Step Simple(StepKind kind, const std::vector<std::string>& w);
    void Escape(Step& step, const std::vector<std::string>& w);
    void Setting(Step& step, const std::vector<std::string>& w);
    const std::string& KnownEffect(const std::vector<std::string>& w);
    void Expect(const std::vector<std::string>& w, size_t lo, size_t hi, const char* usage) const;
    void Error(int line, const std::string& message) { m_result.errors.push_back({m_result.scenario.file, line, message}); }

    ParseResult m_result;
    bool m_haveDevice = false;
    int m_line = 0;
    std::map<std::string, EffectSpec> m_effects;  // by name, as last downloaded or updated
    bool m_rawConditions = false;  // a raw-condition of this statement replaced the old blocks
};

void Parser::Expect(const std::vector<std::string>& w, size_t lo, size_t hi, const char* usage) const {
    if (w.size() < lo || w.size() > hi) throw LineError{std::string("usage: ") + usage};
}

void Parser::Device(const std::vector<std::string>& w) {
    Expect(w, 2, 4, "device MODEL [joystick ID]");
    if (m_haveDevice) throw LineError{"the device is already given"};
    const std::string wanted = Lower(w[1]);
    const ModelRow* found = nullptr;
    for (const ModelRow& p : kModels)
        if (Lower(p.codename) == wanted) found = &p;
    if (found == nullptr) {
        std::string known;
        for (const ModelRow& p : kModels) known += std::string(known.empty() ? "" : ", ") + p.codename;
        throw LineError{"unknown device model '" + w[1] + "' (known: " + known + ")"};
    }
    m_result.scenario.model = found->model;
    if (w.size() > 2) {
        if (w.size() != 4 || w[2] != "joystick") throw LineError{"usage: device MODEL [joystick ID]"};
        m_result.scenario.joystickId = static_cast<DWORD>(InRange(w[3], "joystick ID", 0, 15));
    }
    m_haveDevice = true;
}

const std::string& Parser::KnownEffect(const std::vector<std::string>& w) {
    if (w.size() < 2) throw LineError{"'" + w[0] + "' needs an effect name"};
    if (w[0] != "update" && RawHandleName(w[1])) return w[1];
    if (m_effects.find(w[1]) == m_effects.end()) throw LineError{"effect '" + w[1] + "' was never downloaded"};
    return w[1];
}

bool Parser::TypeKey(EffectSpec& desc, const KeyValue& kv, DWORD* flags) {
    const TypeRow* type = FindType(desc.typeName);
    const std::string& k = kv.key;
    const std::string& v = kv.value;
    *flags |= DIEP_TYPESPECIFICPARAMS;
    switch (type->params) {
        case TypeRow::kConstant:
            if (k != "magnitude") return false;
            desc.constant.lMagnitude = static_cast<LONG>(InRange(v, k, -kFullScale, kFullScale));
            return true;
        case TypeRow::kRamp:
            if (k == "start") desc.ramp.lStart = static_cast<LONG>(InRange(v, k, -kFullScale, kFullScale));
            else if (k == "end") desc.ramp.lEnd = static_cast<LONG>(InRange(v, k, -kFullScale, kFullScale));
            else return false;
            return true;
        case TypeRow::kPeriodic:
            if (k == "magnitude") desc.periodic.dwMagnitude = static_cast<DWORD>(InRange(v, k, 0, kFullScale));
            else if (k == "offset") desc.periodic.lOffset = static_cast<LONG>(InRange(v, k, -kFullScale, kFullScale));
            else if (k == "phase") desc.periodic.dwPhase = static_cast<DWORD>(InRange(v, k, 0, kFullCircle - 1));
            else if (k == "period") desc.periodic.dwPeriod = static_cast<DWORD>(InRange(v, k, 1, kMaxTimeMs));
            else return false;
            return true;
        case TypeRow::kCondition: {
            if (k != "condition") return false;
            const auto c = IntList(v, "condition (offset,positive,negative,positive saturation,negative saturation,"
                                      "dead band)", 6, -kFullScale, kFullScale);
            if (c[3] < 0 || c[4] < 0 || c[5] < 0) throw LineError{"condition saturations and dead band must be 0 to 10000"};
            if (desc.conditions.size() == 2) desc.conditions.clear();
            desc.conditions.push_back({static_cast<LONG>(c[0]), static_cast<LONG>(c[1]), static_cast<LONG>(c[2]),
                                       static_cast<DWORD>(c[3]), static_cast<DWORD>(c[4]), static_cast<LONG>(c[5])});
            return true;
        }
        case TypeRow::kCustom:
            if (k == "samples") {
                const auto s = IntList(v, "samples", 0, -kFullScale, kFullScale);
                desc.customSamples.assign(s.begin(), s.end());
            } else if (k == "channels") {
                desc.customChannels = static_cast<DWORD>(InRange(v, k, 1, 2));
            } else if (k == "custom-period") {
                desc.customPeriodMs = static_cast<DWORD>(InRange(v, k, 0, kMaxTimeMs));
            } else {
                return false;
            }
            return true;
    }
    return false;
}

void Parser::EffectKey(Step& step, const KeyValue& kv) {
    EffectSpec& s = step.desc;
    const std::string& k = kv.key;
    const std::string& v = kv.value;
    if (k == "start" && v.empty()) { step.paramFlags |= DIEP_START; return; }
    if (k.rfind("raw-", 0) == 0) {
        std::vector<std::string> warnings;
        const std::string error = ApplyRawEffectKey(step, &m_rawConditions, k, v, &warnings);
        for (const std::string& w : warnings) m_result.warnings.push_back({m_result.scenario.file, m_line, w});
        if (!error.empty()) throw LineError{error};
        return;
    }
    if (v.empty()) throw LineError{"'" + k + "' needs a value (" + k + "=...)"};
    if (k == "duration") { s.durationMs = TimeMs(v, k); step.paramFlags |= DIEP_DURATION; }
    else if (k == "gain") { s.gain = static_cast<DWORD>(InRange(v, k, 0, kFullScale)); step.paramFlags |= DIEP_GAIN; }
    else if (k == "delay") { s.startDelayMs = TimeMs(v, k); step.paramFlags |= DIEP_STARTDELAY; }
    else if (k == "sample") { s.samplePeriodMs = TimeMs(v, k); step.paramFlags |= DIEP_SAMPLEPERIOD; }
    else if (k == "repeat") { s.triggerRepeatMs = TimeMs(v, k); step.paramFlags |= DIEP_TRIGGERREPEATINTERVAL; }
    else if (k == "trigger") {
        s.triggerButton = v == "none" ? DIEB_NOTRIGGER
                                      : ButtonObject(static_cast<DWORD>(InRange(v, "trigger button", 1, kButtonCount) - 1));
        step.paramFlags |= DIEP_TRIGGERBUTTON;
    } else if (k == "axes") {
        s.axes.clear();
        for (const std::string& a : SplitList(v)) {
            if (a != "x" && a != "y") throw LineError{"axes: '" + a + "' is not an axis (x or y)"};
            s.axes.push_back(AxisObject(a == "x" ? 0 : 1));
        }
        if (s.axes.empty() || s.axes.size() > 2 || (s.axes.size() == 2 && s.axes[0] == s.axes[1]))
            throw LineError{"axes: give x, y or x,y"};
        step.paramFlags |= DIEP_AXES;
    } else if (k == "direction") {
        s.directionFlag = DIEFF_POLAR;
        s.directions = {static_cast<LONG>(InRange(v, "direction (hundredths of a degree)", 0, kFullCircle - 1)), 0};
        step.paramFlags |= DIEP_DIRECTION;
    } else if (k == "cartesian") {
        s.directionFlag = DIEFF_CARTESIAN;
        const auto d = IntList(v, "cartesian", 0, -kFullScale, kFullScale);
        if (d.empty() || d.size() > 2) throw LineError{"cartesian needs one or two values"};
        s.directions.assign(d.begin(), d.end());
        step.paramFlags |= DIEP_DIRECTION;
    } else if (k == "envelope") {
        if (v == "none") { s.hasEnvelope = false; }
        else {
            const auto e = IntList(v, "envelope (attack level,attack ms,fade level,fade ms)", 4, 0, kMaxTimeMs);
            if (e[0] > kFullScale || e[2] > kFullScale) throw LineError{"envelope levels must be 0 to 10000"};
            s.hasEnvelope = true;
            s.envelope = {sizeof(DIENVELOPE), static_cast<DWORD>(e[0]), static_cast<DWORD>(e[1]),
                          static_cast<DWORD>(e[2]), static_cast<DWORD>(e[3])};
        }
        step.paramFlags |= DIEP_ENVELOPE;
    } else if (!TypeKey(s, kv, &step.paramFlags)) {
        throw LineError{"unknown parameter '" + k + "' for a " + s.typeName + " effect"};
    }
}

void Parser::EffectKeys(Step& step, const std::vector<std::string>& w, size_t first) {
    m_rawConditions = false;
    for (size_t i = first; i < w.size(); ++i) EffectKey(step, SplitKey(w[i]));
}

// Checks that need the whole effect: every condition axis has a block, a
// polar direction has two axes, custom data fits its channels.
void Parser::Validate(const Step& step) const {
    const EffectSpec& s = step.desc;
    const TypeRow* type = FindType(s.typeName);
    if (step.raw.paramFlags) return;  // raw flags: the call goes out exactly as written
    if (type->params == TypeRow::kCondition && s.conditions.empty())
        throw LineError{"a " + s.typeName + " effect needs condition=offset,positive,negative,possat,negsat,deadband"};
    if (type->params == TypeRow::kCondition && s.conditions.size() > 1 && s.conditions.size() != s.axes.size())
        throw LineError{"give one condition for all axes or one per axis"};
    if (type->params == TypeRow::kPeriodic && s.periodic.dwPeriod == 0)
        throw LineError{"a periodic effect needs period=MS"};
    if (type->params == TypeRow::kCustom && (s.customSamples.empty() || s.customSamples.size() % s.customChannels))
        throw LineError{"custom samples must be a non-empty multiple of the channel count"};
    if (s.directionFlag == DIEFF_POLAR && s.axes.size() != 2 && (step.paramFlags & DIEP_DIRECTION))
        throw LineError{"a polar direction needs axes=x,y (use cartesian= with one axis)"};
    if (s.directionFlag == DIEFF_CARTESIAN && s.directions.size() != s.axes.size())
        throw LineError{"cartesian needs one value per axis"};
}

void Parser::Download(Step& step, const std::vector<std::string>& w) {
    if (w.size() < 3) throw LineError{"usage: download NAME TYPE [key=value...]"};
    const TypeRow* type = FindType(Lower(w[2]));
    if (type == nullptr)
        throw LineError{"unknown effect type '" + w[2] +
                        "' (constant, ramp, square, sine, triangle, sawtoothup, sawtoothdown, spring, damper, "
                        "inertia, friction, custom)"};
    if (m_effects.count(w[1])) throw LineError{"effect '" + w[1] + "' is already downloaded"};
    step.effect = w[1];
    step.desc.typeName = type->name;
    step.desc.typeIndex = type->typeIndex;
    EffectKeys(step, w, 3);
    if (step.desc.directionFlag == DIEFF_POLAR && step.desc.axes.size() == 1 && !(step.paramFlags & DIEP_DIRECTION))
        step.desc.directionFlag = DIEFF_CARTESIAN, step.desc.directions = {1};
    Validate(step);
    step.paramFlags = DIEP_ALLPARAMS | (step.paramFlags & DIEP_START);
    if (!step.desc.hasEnvelope) step.paramFlags &= ~DIEP_ENVELOPE;
    if (step.raw.paramFlags) step.paramFlags = *step.raw.paramFlags;
    m_effects[step.effect] = step.desc;
}

void Parser::Update(Step& step, const std::vector<std::string>& w) {
    step.effect = KnownEffect(w);
    step.desc = m_effects[step.effect];
    if (w.size() < 3) throw LineError{"usage: update NAME key=value..."};
    EffectKeys(step, w, 2);
    Validate(step);
    if (step.raw.paramFlags) step.paramFlags = *step.raw.paramFlags;
    m_effects[step.effect] = step.desc;
}

void Parser::Escape(Step& step, const std::vector<std::string>& w) {
    if (w.size() < 2) throw LineError{"usage: escape 0 VALUE LOW HIGH | escape 1 VALUE | escape 3"};
    step.value = static_cast<DWORD>(InRange(w[1], "escape command", 0, 3));
    if (step.value == 0) {
        Expect(w, 5, 5, "escape 0 VALUE LOW HIGH");
        for (size_t i = 2; i < 5; ++i) step.floats.push_back(ParseFloat(w[i], "escape value"));
    } else if (step.value == 1) {
        Expect(w, 3, 3, "escape 1 VALUE");
        step.statusValue = static_cast<LONG>(InRange(w[2], "status value", INT32_MIN, INT32_MAX));
    } else if (step.value == 2) {
        if (w.size() < 3) throw LineError{"usage: escape 2 SELECTOR [FLOAT...]"};
        step.value2 = static_cast<DWORD>(InRange(w[2], "selector", 0, 255));
        for (size_t i = 3; i < w.size(); ++i) step.floats.push_back(ParseFloat(w[i], "escape value"));
        if (step.floats.size() > 255) throw LineError{"escape 2 takes at most 255 values"};
    } else {
        Expect(w, 2, 2, "escape 3");
    }
}

void Parser::Setting(Step& step, const std::vector<std::string>& w) {
    if (step.kind == StepKind::kGetSetting) {
        Expect(w, 2, 2, "getsetting INDEX");
        step.value = static_cast<DWORD>(InRange(w[1], "setting index", 0, UINT32_MAX));
        return;
    }
    Expect(w, 3, 4, "setting INDEX VALUE [save]");
    step.value = static_cast<DWORD>(InRange(w[1], "setting index", 0, UINT32_MAX));
    step.value2 = static_cast<DWORD>(InRange(w[2], "setting value", 0, UINT32_MAX));
    if (w.size() == 4 && w[3] != "save") throw LineError{"usage: setting INDEX VALUE [save]"};
    step.save = w.size() == 4;
}

Step Parser::Simple(StepKind kind, const std::vector<std::string>& w) {
    Step step;
    step.kind = kind;
    step.line = m_line;
    switch (kind) {
        case StepKind::kDownload: Download(step, w); break;
        case StepKind::kUpdate: Update(step, w); break;
        case StepKind::kStart:
            step.effect = KnownEffect(w);
            step.value = 1;
            for (size_t i = 2; i < w.size(); ++i) {
                const KeyValue kv = SplitKey(w[i]);
                if (kv.key == "solo" && kv.value.empty()) step.value2 = DIES_SOLO;
                else if (kv.key == "count") step.value = kv.value == "infinite" ? INFINITE : static_cast<DWORD>(InRange(kv.value, "count", 1, 1000000));
                else throw LineError{"usage: start NAME [count=N|infinite] [solo]"};
            }
            break;
        case StepKind::kStop:
        case StepKind::kDestroy:
        case StepKind::kStatus:
            Expect(w, 2, 2, "stop|destroy|status NAME");
            step.effect = KnownEffect(w);
            if (kind == StepKind::kDestroy) m_effects.erase(step.effect);
            break;
        case StepKind::kGain:
            Expect(w, 2, 2, "gain 0..10000");
            step.value = static_cast<DWORD>(InRange(w[1], "gain", 0, kFullScale));
            break;
        case StepKind::kCommand: {
            Expect(w, 2, 2, "command reset|stopall|pause|continue|actuators-on|actuators-off");
            const auto it = std::find_if(std::begin(kCommands), std::end(kCommands),
                                         [&](const CommandRow& r) { return w[1] == r.name; });
            if (it == std::end(kCommands)) throw LineError{"unknown command '" + w[1] + "'"};
            step.value = it->command;
            break;
        }
        case StepKind::kState: Expect(w, 1, 1, "state"); break;
        case StepKind::kEscape: Escape(step, w); break;
        case StepKind::kSetSetting:
        case StepKind::kGetSetting: Setting(step, w); break;
        case StepKind::kPress:
        case StepKind::kRelease:
            Expect(w, 2, 2, "press|release BUTTON");
            step.value = static_cast<DWORD>(InRange(w[1], "button", 1, kButtonCount));
            break;
        case StepKind::kDisplace:
            Expect(w, 3, 4, "displace x|y POSITION [VELOCITY]");
            if (w[1] != "x" && w[1] != "y") throw LineError{"displace: '" + w[1] + "' is not an axis (x or y)"};
            step.value = w[1] == "x" ? 0 : 1;
            step.position = Decimal(w[2], "position", -1.0, 1.0);
            if (w.size() == 4) step.velocity = Decimal(w[3], "velocity", -kMaxVelocity, kMaxVelocity);
            break;
        case StepKind::kInput: break;  // a raw form only, taken above
        case StepKind::kWait:
            Expect(w, 2, 2, "wait MS");
            step.value = static_cast<DWORD>(InRange(w[1], "wait", 0, kMaxTimeMs));
            break;
    }
    return step;
}

struct VerbRow {
    const char* verb;
    StepKind kind;
};
constexpr VerbRow kVerbs[] = {
    {"download", StepKind::kDownload}, {"update", StepKind::kUpdate},   {"start", StepKind::kStart},
    {"stop", StepKind::kStop},         {"destroy", StepKind::kDestroy}, {"status", StepKind::kStatus},
    {"gain", StepKind::kGain},         {"command", StepKind::kCommand}, {"state", StepKind::kState},
    {"escape", StepKind::kEscape},     {"setting", StepKind::kSetSetting}, {"getsetting", StepKind::kGetSetting},
    {"press", StepKind::kPress},       {"release", StepKind::kRelease}, {"wait", StepKind::kWait},
    {"displace", StepKind::kDisplace},
};

bool IsDriverCall(StepKind kind) {
    return kind != StepKind::kPress && kind != StepKind::kRelease && kind != StepKind::kWait &&
           kind != StepKind::kDisplace && kind != StepKind::kInput;
}

// A trailing "expect RESULT" marks a call the driver is meant to reject.
std::optional<std::int32_t> TakeExpectation(std::vector<std::string>* words) {
    const auto at = std::find(words->begin(), words->end(), "expect");
    if (at == words->end()) return std::nullopt;
    if (at == words->begin() || words->end() - at != 2) throw LineError{"usage: STATEMENT ... expect RESULT (at the end of the line)"};
    const std::optional<std::int32_t> hr = ResultFromName(at[1]);
    if (!hr) throw LineError{"expect: '" + at[1] + "' is not a result name (E_INVALIDARG, ...) or 0x code"};
    words->erase(at, words->end());
    return hr;
}

void Parser::Line(int number, const std::vector<std::string>& line) {
    m_line = number;
    try {
        if (line[0] == "device") return Device(line);
        if (!m_haveDevice) throw LineError{"the first statement must be 'device MODEL'"};
        std::vector<std::string> words = line;
        const std::optional<std::int32_t> expected = TakeExpectation(&words);
        {
            Step raw;
            raw.line = number;
            std::string error;
            std::vector<std::string> warnings;
            const bool isRaw = ParseRawStatement(raw, words, &error, &warnings);
            for (const std::string& w : warnings) m_result.warnings.push_back({m_result.scenario.file, number, w});
            if (!error.empty()) throw LineError{error};
            if (isRaw) {
                if (raw.kind == StepKind::kStart) KnownEffect(words);
                if (raw.kind == StepKind::kInput && expected) throw LineError{"input: the device's input has no result to expect"};
                raw.expected = expected;
                return m_result.scenario.steps.push_back(std::move(raw));
            }
        }
        for (const VerbRow& row : kVerbs) {
            if (words[0] != row.verb) continue;
            if (expected && !IsDriverCall(row.kind)) throw LineError{"'expect' applies to driver calls only"};
            Step step = Simple(row.kind, words);
            if (row.kind != StepKind::kDownload && row.kind != StepKind::kUpdate) step.raw.handle = RawHandleName(step.effect);
            step.expected = expected;
            return m_result.scenario.steps.push_back(std::move(step));
        }
        throw LineError{"unknown statement '" + words[0] + "'"};
    } catch (const LineError& e) {
        Error(number, e.message);
    }
}

ParseResult Parser::Finish() {
    if (!m_haveDevice && m_result.errors.empty()) Error(m_line, "no 'device MODEL' statement");
    if (!m_result.errors.empty()) m_result.scenario.steps.clear();
    return std::move(m_result);
}

}  // namespace

DWORD Scenario::TotalWaitMs() const {
    DWORD total = 0;
    for (const Step& s : steps)
        if (s.kind == StepKind::kWait) total += s.value;
    return total;
}

ParseResult ParseScenario(const std::string& text, const std::string& fileName) {
    Parser parser(fileName);
    std::istringstream in(text);
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
        if (const auto hash = line.find('#'); hash != std::string::npos) line.erase(hash);
        std::istringstream words(line);
        std::vector<std::string> w;
        for (std::string word; words >> word;) w.push_back(word);
        if (!w.empty()) parser.Line(number, w);
    }
    return parser.Finish();
}

ParseResult ParseScenarioFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        ParseResult r;
        r.errors.push_back({path, 0, "cannot read the file"});
        return r;
    }
    std::stringstream text;
    text << in.rdbuf();
    return ParseScenario(text.str(), path);
}

const char* CommandName(DWORD command) {
    for (const CommandRow& row : kCommands)
        if (row.command == command) return row.name;
    return "?";
}

}  // namespace ffplay
