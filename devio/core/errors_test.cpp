#include "devio/core/errors.h"

#include <gtest/gtest.h>

#include <string>
#include <typeinfo>

#include "devio/core/context.h"

namespace devio {
namespace {

TEST(ErrcNameTest, NamesRunBoundariesAndUnknownBeyond) {
    struct Case {
        std::uint32_t code;
        const char* name;
    };
    const Case cases[] = {
        {0, "Success"},           {8, "Rap10Success"},         {21, "Rap10UnknownError"},
        {22, "NotRap20"},         {28, "DeviceRemoved"},       {44, "Rap20NoError"},
        {54, "Rap20UnknownError"}, {55, "Abandoned"},          {70, "NotCorvantaVendorId"},
        {91, "InvalidExecutor"},  {92, "VantorppNoError"},     {105, "VantorppNotAuthorized"},
        {106, "VantorppUnknownError"}, {107, "Unknown"},       {0xFFFFFFFFu, "Unknown"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.code);
        EXPECT_STREQ(errc_name(c.code), c.name);
    }
}

TEST(ErrorCategoryTest, ExecutorMessagesNameTheCode) {
    EXPECT_EQ(executor_category().message(1), "executor_error, capture_expired");
    EXPECT_EQ(executor_category().message(2), "executor_error, invalid_executor");
    EXPECT_EQ(executor_category().message(3), "executor_error, job_queue_stopped");
    EXPECT_EQ(executor_category().message(0), "executor_error, undefined");
    EXPECT_EQ(executor_category().message(7), "executor_error, undefined");
}

TEST(ErrorCategoryTest, FutureMessagesNameTheCode) {
    const char* names[] = {"broken_promise",      "future_already_retrieved", "promise_already_satisfied",
                           "no_state",            "will_deadlock",            "unobserved_result",
                           "must_not_wait"};
    for (int value = 1; value <= 7; ++value) {
        SCOPED_TRACE(value);
        EXPECT_EQ(future_category().message(value), std::string("future_error, ") + names[value - 1]);
    }
    EXPECT_EQ(future_category().message(0), "future_error, undefined");
    EXPECT_EQ(future_category().message(8), "future_error, undefined");
}

TEST(ErrorTypesTest, ExecutorAndFutureErrorsAreRuntimeErrorsWithTheirMessages) {
    try {
        throw executor_error(executor_errc::job_queue_stopped);
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "executor_error, job_queue_stopped");
    }
    const future_error broken(future_errc::broken_promise);
    EXPECT_STREQ(broken.what(), "future_error, broken_promise");
    const future_error raised(future_errc::no_state, "devio future not valid");
    EXPECT_STREQ(raised.what(), "devio future not valid");
    EXPECT_EQ(raised.code(), future_errc::no_state);
    EXPECT_EQ(raised.code().message(), "future_error, no_state");
}

TEST(DevioExceptionTest, EveryFailureCodeGetsItsOwnSubclass) {
    for (std::uint32_t code = 1; code < kErrcCount; ++code) {
        SCOPED_TRACE(errc_name(code));
        try {
            throw_devio_exception(code, "while testing", 3);
        } catch (const DevioException& e) {
            EXPECT_NE(typeid(e), typeid(DevioException));
            EXPECT_EQ(e.code(), code);
            EXPECT_EQ(e.value(), 3u);
            EXPECT_NE(std::string(e.what()).find(errc_name(code)), std::string::npos) << e.what();
            EXPECT_NE(std::string(e.what()).find("while testing"), std::string::npos) << e.what();
        }
    }
}

TEST(DevioExceptionTest, CallersCatchOneFailureByType) {
    EXPECT_THROW(throw_devio_exception(28), DevioExceptionDeviceRemoved);
    EXPECT_THROW(throw_devio_exception(52), DevioExceptionRap20Busy);
    EXPECT_THROW(throw_devio_exception(70), DevioExceptionNotCorvantaVendorId);
    EXPECT_THROW(throw_devio_exception(105), DevioExceptionVantorppNotAuthorized);
    EXPECT_THROW(throw_devio_exception(28), std::runtime_error);
}

TEST(DevioExceptionTest, SuccessAndUnknownCodesUseTheBaseClass) {
    for (std::uint32_t code : {0u, 107u, 5000u}) {
        SCOPED_TRACE(code);
        try {
            throw_devio_exception(code);
        } catch (const DevioException& e) {
            EXPECT_EQ(typeid(e), typeid(DevioException));
            EXPECT_EQ(e.code(), code);
        }
    }
}

TEST(DevioExceptionTest, MessageStartsWithTheNameText) {
    const DevioException e(28);
    EXPECT_STREQ(e.what(), "DevioException: DeviceRemoved (28)");
    const DevioException unknown(900, "late", 7);
    EXPECT_STREQ(unknown.what(), "DevioException: Unknown (900): late [value 7]");
}

TEST(LastErrorTest, SettingReturnsTheCodeAndRecordsAll) {
    static const char* const kText = "write failed";
    EXPECT_EQ(set_last_error(40, kText, 9), 40u);
    EXPECT_EQ(get_last_error().code, 40u);
    EXPECT_EQ(get_last_error().message, kText);
    EXPECT_EQ(get_last_error().value, 9u);
    clear_last_error();
    EXPECT_EQ(get_last_error().code, 0u);
    EXPECT_EQ(get_last_error().message, nullptr);
}

TEST(TranslateExecutorErrorTest, KnownCodesMapToTheirDevioCodes) {
    struct Case {
        int executor_value;
        std::uint32_t devio_code;
    };
    for (const Case& c : {Case{1, 83}, Case{2, 91}, Case{3, 89}}) {
        SCOPED_TRACE(c.executor_value);
        clear_last_error();
        EXPECT_EQ(translate_executor_error(c.executor_value), c.devio_code);
        EXPECT_EQ(get_last_error().code, c.devio_code);
        EXPECT_EQ(get_last_error().message, nullptr);
    }
    EXPECT_EQ(translate_executor_error(executor_error(executor_errc::invalid_executor)), 91u);
}

TEST(TranslateExecutorErrorTest, OtherValuesBecomeFailureWithTheRawValue) {
    for (int raw : {0, 4, 77}) {
        SCOPED_TRACE(raw);
        EXPECT_EQ(translate_executor_error(raw), 1u);
        EXPECT_STREQ(get_last_error().message, "unexpected executor_errc value");
        EXPECT_EQ(get_last_error().value, static_cast<std::uint32_t>(raw));
    }
}

}  // namespace
}  // namespace devio
