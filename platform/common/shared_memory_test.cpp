// One suite for both backends: the lifetime and visibility that the
// settings block relies on.
#include "platform/shared_memory.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace {

namespace shm = platform::shm;

std::wstring UniqueName() {
    static std::mt19937 generator{std::random_device{}()};
    return L"ffdrv_shm_test_" + std::to_wstring(generator());
}

struct Holder {
    Holder(const std::wstring& name, std::uint32_t size) {
        mapping = shm::Create(name.c_str(), size, &existed);
        view = static_cast<unsigned char*>(shm::Map(mapping, &viewSize));
    }
    ~Holder() {
        shm::Unmap(view);
        shm::Close(mapping);
    }
    shm::Mapping mapping = nullptr;
    unsigned char* view = nullptr;
    std::size_t viewSize = 0;
    bool existed = true;
};

class SharedMemoryTest : public ::testing::Test {
protected:
    void TearDown() override { shm::InjectFaultForTesting(shm::Fault::kNone); }
    const std::wstring m_name = UniqueName();
};

TEST_F(SharedMemoryTest, FirstOpenerCreatesZeroFilledBlock) {
    Holder first(m_name, 644);
    ASSERT_NE(first.view, nullptr);
    EXPECT_FALSE(first.existed);
    EXPECT_GE(first.viewSize, 644u);
    for (std::size_t i = 0; i < 644; ++i) ASSERT_EQ(first.view[i], 0) << i;
}

TEST_F(SharedMemoryTest, SecondOpenerSharesTheBytes) {
    Holder first(m_name, 644);
    first.view[643] = 0xA5;
    Holder second(m_name, 644);
    ASSERT_NE(second.view, nullptr);
    EXPECT_TRUE(second.existed);
    EXPECT_EQ(second.view[643], 0xA5);
    second.view[0] = 0x3C;
    EXPECT_EQ(first.view[0], 0x3C);
}

TEST_F(SharedMemoryTest, BlockEndsWithItsLastHolder) {
    {
        Holder first(m_name, 644);
        first.view[10] = 1;
        Holder second(m_name, 644);
    }
    Holder again(m_name, 644);
    EXPECT_FALSE(again.existed);
    EXPECT_EQ(again.view[10], 0);
}

TEST_F(SharedMemoryTest, BlockSurvivesWhileAnyHolderRemains) {
    auto first = std::make_unique<Holder>(m_name, 644);
    Holder second(m_name, 644);
    first->view[5] = 9;
    first.reset();
    Holder third(m_name, 644);
    EXPECT_TRUE(third.existed);
    EXPECT_EQ(third.view[5], 9);
}

// An opener gets the existing size, never a larger one; the view reaches as
// far as the backend's view granularity allows.
TEST_F(SharedMemoryTest, ExistingSmallerBlockKeepsItsSize) {
    Holder small(m_name, 100);
    Holder large(m_name, 644);
    ASSERT_NE(large.view, nullptr);
    EXPECT_TRUE(large.existed);
    const std::size_t expected = shm::ViewGranularity() > 100 ? shm::ViewGranularity() : 100;
    EXPECT_EQ(large.viewSize, expected);
}

TEST_F(SharedMemoryTest, InjectedFaultsFailOnceThenClear) {
    shm::InjectFaultForTesting(shm::Fault::kCreate);
    bool existed = true;
    EXPECT_EQ(shm::Create(m_name.c_str(), 644, &existed), nullptr);
    EXPECT_FALSE(existed);
    shm::InjectFaultForTesting(shm::Fault::kMap);
    Holder refused(m_name, 644);
    EXPECT_NE(refused.mapping, nullptr);
    EXPECT_EQ(refused.view, nullptr);
    Holder fine(m_name, 644);
    EXPECT_NE(fine.view, nullptr);
}

TEST_F(SharedMemoryTest, NullAndInvalidMappingsAreHarmless) {
    std::size_t size = 1;
    EXPECT_EQ(shm::Map(nullptr, &size), nullptr);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(shm::Map(shm::InvalidMapping(), nullptr), nullptr);
    shm::Close(nullptr);
    shm::Close(shm::InvalidMapping());
    shm::Unmap(nullptr);
}

}  // namespace
