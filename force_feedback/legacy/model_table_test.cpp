// Lookups over the model table.
#include "force_feedback/legacy/model_table.h"

#include <gtest/gtest.h>

namespace {

TEST(ModelTableTest, ReportedProductIdFindsItsRow) {
    const ModelRow* drovik = ModelByProductId(Product(Model::Drovik).productId);
    ASSERT_NE(nullptr, drovik);
    EXPECT_EQ(Model::Drovik, drovik->model);
    const ModelRow* oskra = ModelByProductId(Product(Model::Oskra).productId);
    ASSERT_NE(nullptr, oskra);
    EXPECT_EQ(Model::Oskra, oskra->model);
}

TEST(ModelTableTest, ForeignProductIdHasNoRow) {
    EXPECT_EQ(nullptr, ModelByProductId(0x0000));
    EXPECT_EQ(nullptr, ModelByProductId(0xFFFF));
}

}  // namespace
