// The OEM records as DirectInput reads them: the class and the bytes of the
// device and effect attribute records, for one product of every family and
// for the rows of the class table that are not one-to-one.
#include "tools/setup/oem_records.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "force_feedback/legacy/com/class_table.h"
#include "force_feedback/legacy/effects/effect_factory.h"
#include "platform/guid.h"

namespace setup {
namespace {

using Bytes = std::vector<std::uint8_t>;

const OemRecord& RecordOf(const std::vector<OemRecord>& records, Model model) {
    auto it = std::find_if(records.begin(), records.end(), [model](const OemRecord& r) { return r.model == model; });
    if (it == records.end()) throw std::runtime_error("no record");
    return *it;
}

const EffectRecord* EffectOf(const OemRecord& record, DWORD typeIndex) {
    for (const EffectRecord& e : record.effects) {
        if (e.typeIndex == typeIndex) return &e;
    }
    return nullptr;
}

// Parameters every effect takes and what stays changeable while it plays.
constexpr DWORD kStatic = DIEP_DURATION | DIEP_GAIN | DIEP_TRIGGERBUTTON | DIEP_AXES | DIEP_DIRECTION |
                          DIEP_TYPESPECIFICPARAMS | DIEP_STARTDELAY;
constexpr DWORD kDynamic = kStatic & ~DIEP_STARTDELAY;
constexpr DWORD kForceBits = DIEFT_FFATTACK | DIEFT_FFFADE | DIEFT_STARTDELAY;

TEST(OemRecords, OneRecordPerProductUnderItsOwnIds) {
    const auto records = BuildOemRecords();
    ASSERT_EQ(records.size(), kModels.size());
    std::set<std::wstring> keys;
    for (std::size_t i = 0; i < records.size(); ++i) {
        EXPECT_EQ(records[i].model, kModels[i].model);
        keys.insert(records[i].keyName);
    }
    EXPECT_EQ(keys.size(), records.size());
    EXPECT_EQ(RecordOf(records, Model::Pelvar).keyName, L"VID_C7A5&PID_A102");
    EXPECT_EQ(RecordOf(records, Model::Lumisk).keyName, L"VID_C7A5&PID_A305");
}

TEST(OemRecords, EachProductNamesTheClassWhoseDriverMakesItsDevice) {
    const auto records = BuildOemRecords();
    for (const OemRecord& r : records) {
        SCOPED_TRACE(Product(r.model).codename);
        const ClassRow& row = kClassTable[r.classIndex];
        EXPECT_NE(row.kind, ClassKind::JoyForceApi);
        EXPECT_EQ(row.device, r.model);
        EXPECT_EQ(r.oemName, Product(r.model).marketingName);
    }
    // The Oskra stick has no class of its own: the Nimbal driver makes its device.
    EXPECT_EQ(RecordOf(records, Model::Oskra).classIndex, 1);
    EXPECT_EQ(RecordOf(records, Model::Oskra).oemName, L"Nimbal Joystick");
    // Two drivers make the Prazen device; the model's own wins over the legacy one.
    EXPECT_EQ(RecordOf(records, Model::Prazen).classIndex, 16);
    EXPECT_EQ(RecordOf(records, Model::Pelvar).classIndex, 12);
}

TEST(OemRecords, DeviceAttributesAreTheWriterPeriodAndMillisecondResolution) {
    for (const OemRecord& r : BuildOemRecords()) {
        EXPECT_EQ(DeviceAttributeBytes(r.device), (Bytes{0, 0, 0, 0, 0x40, 0x1F, 0, 0, 0xE8, 0x03, 0, 0}));
    }
}

TEST(OemRecords, EffectAttributeBytesAreLittleEndianInFieldOrder) {
    const auto records = BuildOemRecords();
    const OemRecord& pelvar = RecordOf(records, Model::Pelvar);
    // Constant force: ID 0; constant, attack, fade, start delay; envelope in both sets.
    EXPECT_EQ(EffectAttributeBytes(EffectOf(pelvar, kEffectConstant)->attributes),
              (Bytes{0, 0, 0, 0, 0x01, 0x86, 0, 0, 0xED, 0x03, 0, 0, 0xED, 0x01, 0, 0, 0x30, 0, 0, 0}));
    // Custom force: ID 256; no envelope, since it plays no force.
    EXPECT_EQ(EffectAttributeBytes(EffectOf(pelvar, kEffectCustom)->attributes),
              (Bytes{0, 1, 0, 0, 0x05, 0x80, 0, 0, 0x6D, 0x03, 0, 0, 0x6D, 0x01, 0, 0, 0x30, 0, 0, 0}));
}

TEST(OemRecords, EffectsAreListedByTheirDirectInputGuidsInTypeOrder) {
    const auto records = BuildOemRecords();
    const OemRecord& r = RecordOf(records, Model::Zorvel);
    ASSERT_EQ(r.effects.size(), 12u);
    const DWORD order[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 256};
    for (std::size_t i = 0; i < r.effects.size(); ++i) {
        EXPECT_EQ(r.effects[i].typeIndex, order[i]);
        EXPECT_EQ(r.effects[i].attributes.dwEffectId, order[i]);
    }
    EXPECT_EQ(platform::FormatGuid(r.effects[0].guid), L"{13541C20-8E33-11D0-9AD0-00A0C9A06E35}");
    EXPECT_EQ(platform::FormatGuid(r.effects[10].guid), L"{13541C2A-8E33-11D0-9AD0-00A0C9A06E35}");
    EXPECT_EQ(platform::FormatGuid(r.effects[11].guid), L"{13541C2B-8E33-11D0-9AD0-00A0C9A06E35}");
}

// What each family's condition classes really do with a DICONDITION.
struct ConditionCase {
    const char* name;
    Model model;
    DWORD spring;
    DWORD damper;  // also inertia and friction
};

constexpr DWORD kCond = DIEFT_CONDITION | DIEFT_STARTDELAY;
const ConditionCase kConditionCases[] = {
    // Native spring command: one clip from the positive saturation; native damper: coefficients only.
    {"HiResWheel", Model::Pelvar, kCond | DIEFT_SATURATION | DIEFT_POSNEGCOEFFICIENTS | DIEFT_DEADBAND,
     kCond | DIEFT_POSNEGCOEFFICIENTS},
    // Native spring, host damper.
    {"HiResWheelHostDampers", Model::Drovik, kCond | DIEFT_SATURATION | DIEFT_POSNEGCOEFFICIENTS | DIEFT_DEADBAND,
     kCond | DIEFT_POSNEGCOEFFICIENTS},
    // Host spring law: a limit and a slope per side, and the band.
    {"LowResWheel", Model::Dastrin,
     kCond | DIEFT_SATURATION | DIEFT_POSNEGCOEFFICIENTS | DIEFT_POSNEGSATURATION | DIEFT_DEADBAND,
     kCond | DIEFT_POSNEGCOEFFICIENTS},
    {"HiResJoystick", Model::Ferolla, kCond | DIEFT_SATURATION | DIEFT_POSNEGCOEFFICIENTS | DIEFT_DEADBAND,
     kCond | DIEFT_POSNEGCOEFFICIENTS},
    {"LowResJoystick", Model::Oskra, kCond | DIEFT_SATURATION | DIEFT_POSNEGCOEFFICIENTS | DIEFT_DEADBAND,
     kCond | DIEFT_POSNEGCOEFFICIENTS},
    // Axis blocks hold one coefficient and one saturation; the damper's saturation is fixed.
    {"KarvonaStyle", Model::Karvona, kCond | DIEFT_SATURATION | DIEFT_DEADBAND, kCond},
    {"Rumble", Model::Zorvel,
     kCond | DIEFT_SATURATION | DIEFT_POSNEGCOEFFICIENTS | DIEFT_POSNEGSATURATION | DIEFT_DEADBAND,
     kCond | DIEFT_POSNEGCOEFFICIENTS},
};

class FamilyRecord : public ::testing::TestWithParam<ConditionCase> {};

TEST_P(FamilyRecord, OffersEveryTypeWithTheBitsItsClassesImplement) {
    const ConditionCase& c = GetParam();
    const auto records = BuildOemRecords();
    const OemRecord& r = RecordOf(records, c.model);
    ASSERT_EQ(r.effects.size(), 12u);
    for (const EffectRecord& e : r.effects) {
        SCOPED_TRACE(e.typeIndex);
        const DIEFFECTATTRIBUTES& a = e.attributes;
        EXPECT_EQ(a.dwCoords, static_cast<DWORD>(DIEFF_CARTESIAN | DIEFF_POLAR));
        DWORD type = 0;
        bool enveloped = false;
        switch (e.typeIndex) {
            case kEffectConstant: type = DIEFT_CONSTANTFORCE | kForceBits; enveloped = true; break;
            case kEffectRamp: type = DIEFT_RAMPFORCE | kForceBits; enveloped = true; break;
            case kEffectSpring: type = c.spring; break;
            case kEffectDamper: case kEffectInertia: case kEffectFriction: type = c.damper; break;
            case kEffectCustom: type = DIEFT_CUSTOMFORCE | DIEFT_STARTDELAY; break;
            default: type = DIEFT_PERIODIC | kForceBits; enveloped = true; break;
        }
        EXPECT_EQ(a.dwEffType, type);
        EXPECT_EQ(a.dwStaticParams, kStatic | (enveloped ? DIEP_ENVELOPE : 0));
        EXPECT_EQ(a.dwDynamicParams, kDynamic | (enveloped ? DIEP_ENVELOPE : 0));
    }
}

INSTANTIATE_TEST_SUITE_P(Families, FamilyRecord, ::testing::ValuesIn(kConditionCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(OemRecords, KeysComeParentFirstWithTheValuesDirectInputReads) {
    const auto records = BuildOemRecords();
    const OemRecord& r = RecordOf(records, Model::Ferolla);
    const auto keys = RecordKeys(r);
    ASSERT_EQ(keys.size(), 3 + r.effects.size());
    EXPECT_EQ(keys[0].path, L"VID_C7A5&PID_A201");
    ASSERT_EQ(keys[0].values.size(), 1u);
    EXPECT_EQ(keys[0].values[0].name, L"OEMName");
    EXPECT_EQ(keys[0].values[0].text, L"Ferolla Joystick");
    EXPECT_EQ(keys[1].path, L"VID_C7A5&PID_A201\\OEMForceFeedback");
    ASSERT_EQ(keys[1].values.size(), 2u);
    EXPECT_EQ(keys[1].values[0].text, L"{920B260C-BE85-4D30-8797-8BA0A23A5D53}");
    EXPECT_EQ(keys[1].values[1].bytes.size(), 12u);
    EXPECT_EQ(keys[2].path, L"VID_C7A5&PID_A201\\OEMForceFeedback\\Effects");
    EXPECT_TRUE(keys[2].values.empty());
    EXPECT_EQ(keys[3].path, L"VID_C7A5&PID_A201\\OEMForceFeedback\\Effects\\{13541C20-8E33-11D0-9AD0-00A0C9A06E35}");
    ASSERT_EQ(keys[3].values.size(), 2u);
    EXPECT_EQ(keys[3].values[0].name, L"");
    EXPECT_EQ(keys[3].values[0].text, L"Constant Force");
    EXPECT_EQ(keys[3].values[1].bytes.size(), 20u);
    for (const RegKey& k : keys) {
        for (const RegValue& v : k.values) EXPECT_NE(v.name, L"OEMData") << "left to the driver's own fix-up";
    }
}

}  // namespace
}  // namespace setup
