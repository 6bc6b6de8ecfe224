#include "platform/debug.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/module.h"

namespace {

std::wstring g_prefix;
std::wstring g_message;
void Capture(const wchar_t* prefix, const wchar_t* message) {
    g_prefix = prefix;
    g_message = message;
}

class DebugTraceTest : public ::testing::Test {
protected:
    void SetUp() override { platform::SetTraceHook(&Capture); }
    void TearDown() override {
        platform::SetTraceHook(nullptr);
        platform::SetTracePrefixFlags(0);
    }
};

TEST_F(DebugTraceTest, FormatsWithoutPrefixByDefault) {
    platform::DebugTrace(L"slot %d of %ls", 3, L"wheel");
    EXPECT_EQ(g_prefix, L"");
    EXPECT_EQ(g_message, L"slot 3 of wheel");
}

TEST_F(DebugTraceTest, PrefixFollowsFlags) {
    const std::wstring pid = std::to_wstring(platform::CurrentProcessId());
    const std::wstring tid = std::to_wstring(platform::CurrentThreadId());
    platform::SetTracePrefixFlags(platform::kTracePrefixProcess | platform::kTracePrefixThread);
    platform::DebugTrace(L"x");
    EXPECT_EQ(g_prefix, L"P" + pid + L".T" + tid + L":");
    platform::SetTracePrefixFlags(platform::kTracePrefixProcess);
    platform::DebugTrace(L"x");
    EXPECT_EQ(g_prefix, L"P" + pid + L":");
    platform::SetTracePrefixFlags(platform::kTracePrefixThread);
    platform::DebugTrace(L"x");
    EXPECT_EQ(g_prefix, L"T" + tid + L":");
}

TEST_F(DebugTraceTest, LongMessagesAreCutAt1024Characters) {
    const std::wstring longText(3000, L'a');
    platform::DebugTrace(L"%ls", longText.c_str());
    EXPECT_LE(g_message.size(), static_cast<std::size_t>(platform::kTraceMaxChars));
}

}  // namespace
