#include "devio/core/errors.h"

#include <array>
#include <exception>

#include "devio/core/context.h"

namespace devio {
namespace {

constexpr std::array<const char*, kErrcCount> kErrcNames = {
#define DEVIO_ERROR(value, name) #name,
#include "devio/core/error_codes.def"
#undef DEVIO_ERROR
};

constexpr const char* kUnknownName = "Unknown";
constexpr const char* kUndefinedName = "undefined";
constexpr const char* kUnexpectedExecutorErrc = "unexpected executor_errc value";

class executor_category_impl final : public std::error_category {
public:
    const char* name() const noexcept override { return "executor_error"; }
    std::string message(int value) const override {
        return std::string("executor_error, ") + code_name(value);
    }

private:
    static const char* code_name(int value) noexcept {
        switch (static_cast<executor_errc>(value)) {
        case executor_errc::capture_expired: return "capture_expired";
        case executor_errc::invalid_executor: return "invalid_executor";
        case executor_errc::job_queue_stopped: return "job_queue_stopped";
        }
        return kUndefinedName;
    }
};

class future_category_impl final : public std::error_category {
public:
    const char* name() const noexcept override { return "future_error"; }
    std::string message(int value) const override {
        return std::string("future_error, ") + code_name(value);
    }

private:
    static const char* code_name(int value) noexcept {
        switch (static_cast<future_errc>(value)) {
        case future_errc::broken_promise: return "broken_promise";
        case future_errc::future_already_retrieved: return "future_already_retrieved";
        case future_errc::promise_already_satisfied: return "promise_already_satisfied";
        case future_errc::no_state: return "no_state";
        case future_errc::will_deadlock: return "will_deadlock";
        case future_errc::unobserved_result: return "unobserved_result";
        case future_errc::must_not_wait: return "must_not_wait";
        }
        return kUndefinedName;
    }
};

std::string devio_exception_text(std::uint32_t code, const std::string& message, std::uint32_t value) {
    std::string text = "DevioException: ";
    text += errc_name(code);
    text += " (" + std::to_string(code) + ")";
    if (!message.empty()) text += ": " + message;
    if (value != 0) text += " [value " + std::to_string(value) + "]";
    return text;
}

}  // namespace

const char* errc_name(std::uint32_t code) noexcept {
    return code < kErrcNames.size() ? kErrcNames[code] : kUnknownName;
}

const std::error_category& executor_category() noexcept {
    static const executor_category_impl category;
    return category;
}

std::error_code make_error_code(executor_errc e) noexcept {
    return {static_cast<int>(e), executor_category()};
}

executor_error::executor_error(executor_errc code)
    : std::runtime_error(executor_category().message(static_cast<int>(code))), m_code(code) {}

const std::error_category& future_category() noexcept {
    static const future_category_impl category;
    return category;
}

std::error_code make_error_code(future_errc e) noexcept {
    return {static_cast<int>(e), future_category()};
}

future_error::future_error(future_errc code)
    : std::runtime_error(future_category().message(static_cast<int>(code))), m_code(code) {}

future_error::future_error(future_errc code, const char* site_text)
    : std::runtime_error(site_text), m_code(code) {}

void raise_future_error(future_errc code, const char* site_text) {
    if constexpr (kTerminateOnFutureError) std::terminate();
    throw future_error(code, site_text);
}

DevioException::DevioException(std::uint32_t code, std::string message, std::uint32_t value)
    : std::runtime_error(devio_exception_text(code, message, value)),
      m_code(code),
      m_message(std::move(message)),
      m_value(value) {}

std::exception_ptr make_devio_exception(std::uint32_t code, std::string message, std::uint32_t value) {
    switch (code) {
#define DEVIO_ERROR(number, name) \
    case number: return std::make_exception_ptr(DevioException##name(std::move(message), value));
#define DEVIO_ERROR_SKIP_SUCCESS
#include "devio/core/error_codes.def"
#undef DEVIO_ERROR_SKIP_SUCCESS
#undef DEVIO_ERROR
    default: return std::make_exception_ptr(DevioException(code, std::move(message), value));
    }
}

void throw_devio_exception(std::uint32_t code, std::string message, std::uint32_t value) {
    std::rethrow_exception(make_devio_exception(code, std::move(message), value));
}

std::uint32_t devio_code_for_executor_error(int executor_errc_value) noexcept {
    switch (static_cast<executor_errc>(executor_errc_value)) {
    case executor_errc::capture_expired: return static_cast<std::uint32_t>(errc::CaptureExpired);
    case executor_errc::invalid_executor: return static_cast<std::uint32_t>(errc::InvalidExecutor);
    case executor_errc::job_queue_stopped: return static_cast<std::uint32_t>(errc::JobQueueStopped);
    }
    return static_cast<std::uint32_t>(errc::Failure);
}

std::uint32_t translate_executor_error(int executor_errc_value) {
    const std::uint32_t code = devio_code_for_executor_error(executor_errc_value);
    if (code != static_cast<std::uint32_t>(errc::Failure)) return set_last_error(code);
    return set_last_error(code, kUnexpectedExecutorErrc, static_cast<std::uint32_t>(executor_errc_value));
}

std::uint32_t translate_executor_error(const executor_error& e) {
    return translate_executor_error(e.code().value());
}

}  // namespace devio
