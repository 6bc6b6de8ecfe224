#include "tools/player/recording_summary.h"

#include <cstdio>
#include <map>

#include "tools/player/result_names.h"

namespace ffplay {
namespace {

const char* KindName(StepKind kind) {
    switch (kind) {
        case StepKind::kDownload: return "download";
        case StepKind::kUpdate: return "update";
        case StepKind::kStart: return "start";
        case StepKind::kStop: return "stop";
        case StepKind::kDestroy: return "destroy";
        case StepKind::kStatus: return "status";
        case StepKind::kGain: return "gain";
        case StepKind::kCommand: return "command";
        case StepKind::kState: return "state";
        case StepKind::kEscape: return "escape";
        case StepKind::kSetSetting: return "setting";
        case StepKind::kGetSetting: return "getsetting";
        case StepKind::kPress: return "press";
        case StepKind::kRelease: return "release";
        case StepKind::kWait: return "wait";
        case StepKind::kDisplace: return "displace";
        case StepKind::kInput: return "input";
    }
    return "?";
}

bool IsInput(StepKind kind) {
    return kind == StepKind::kPress || kind == StepKind::kRelease || kind == StepKind::kDisplace || kind == StepKind::kInput;
}

}  // namespace

std::string RecordingSummary(const Scenario& scenario) {
    std::map<std::string, int> effects, calls;
    std::map<std::string, int> rejectedBy;
    int callCount = 0, rejected = 0, inputs = 0;
    for (const Step& step : scenario.steps) {
        if (step.kind == StepKind::kWait) continue;
        if (IsInput(step.kind)) {
            ++inputs;
            continue;
        }
        ++callCount;
        ++calls[KindName(step.kind)];
        if (step.kind == StepKind::kDownload) ++effects[step.desc.typeName];
        if (step.expected && *step.expected < 0) {
            ++rejected;
            ++rejectedBy[std::string(KindName(step.kind)) + " -> " + ResultName(*step.expected)];
        }
    }
    const DWORD ms = scenario.TotalWaitMs();
    char duration[64];
    std::snprintf(duration, sizeof duration, "%u.%03u s", static_cast<unsigned>(ms / 1000), static_cast<unsigned>(ms % 1000));
    std::string text = scenario.file + ": " + Product(scenario.model).codename + " at joystick " +
                       std::to_string(scenario.joystickId) + ", " + duration + "\n";
    text += "effects downloaded: " + std::to_string(effects.empty() ? 0 : [&] {
        int n = 0;
        for (const auto& [name, count] : effects) n += count;
        return n;
    }()) + "\n";
    for (const auto& [name, count] : effects) text += "  " + name + " " + std::to_string(count) + "\n";
    text += "driver calls: " + std::to_string(callCount) + "\n";
    for (const auto& [name, count] : calls) text += "  " + name + " " + std::to_string(count) + "\n";
    text += "rejected calls: " + std::to_string(rejected) + "\n";
    for (const auto& [name, count] : rejectedBy) text += "  " + name + " " + std::to_string(count) + "\n";
    if (inputs) text += "input statements: " + std::to_string(inputs) + "\n";
    return text;
}

}  // namespace ffplay
