// The second process of the shared-settings tests: opens a model's settings
// block that the test process holds, checks that it finds the test's values
// (and did not reset them to defaults), then changes two values for the test
// to read back.
//
//   settings-peer <model index> <device ID, hex> <expected OverallStrength>
//                 <expected change stamp> <new SpringStrength> <new change stamp>
//
// Exit codes: 0 all as expected, 2 bad arguments, 3 no block, 4 the
// strength differs, 5 the change stamp differs.
#include <cstdlib>
#include <string>

#include "force_feedback/legacy/settings/model_global_data.h"

namespace {

constexpr int kBadArguments = 2;
constexpr int kNoBlock = 3;
constexpr int kStrengthDiffers = 4;
constexpr int kStampDiffers = 5;

unsigned long Arg(char** argv, int index, int base = 10) { return std::strtoul(argv[index], nullptr, base); }

}  // namespace

int main(int argc, char** argv) {
    if (argc != 7) return kBadArguments;
    const unsigned long model = Arg(argv, 1);
    if (model >= static_cast<unsigned long>(kModelCount)) return kBadArguments;
    auto settings = CreateModelGlobalData(static_cast<Model>(model));
    settings->Initialize(static_cast<DWORD>(Arg(argv, 2, 16)));
    if (!settings->HasBlock()) return kNoBlock;
    if (settings->GetOverallStrength() != Arg(argv, 3)) return kStrengthDiffers;
    if (settings->GetChangeStamp() != Arg(argv, 4)) return kStampDiffers;
    settings->SetSpringStrength(static_cast<DWORD>(Arg(argv, 5)), 0, 1);
    settings->SetChangeStamp(static_cast<DWORD>(Arg(argv, 6)));
    return 0;
}
