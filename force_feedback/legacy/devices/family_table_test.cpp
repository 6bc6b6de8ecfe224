// Lookups over the per-model family table.
#include "force_feedback/legacy/devices/family_table.h"

#include <gtest/gtest.h>

namespace {

TEST(FamilyTableTest, DamperClassFollowsTheReportedProductId) {
    const FamilyRow* drovik = FamilyByProductId(Product(Model::Drovik).productId);
    ASSERT_NE(nullptr, drovik);
    EXPECT_EQ(Model::Drovik, drovik->model);
    EXPECT_TRUE(drovik->simulatedDampers);
    EXPECT_EQ(DeviceFamily::HiResWheel, drovik->family);
    const FamilyRow* quintar = FamilyByProductId(Product(Model::Quintar).productId);
    ASSERT_NE(nullptr, quintar);
    EXPECT_FALSE(quintar->simulatedDampers);
}

TEST(FamilyTableTest, ForeignProductIdHasNoRow) {
    EXPECT_EQ(nullptr, FamilyByProductId(0x0000));
    EXPECT_EQ(nullptr, FamilyByProductId(0xFFFF));
}

}  // namespace
