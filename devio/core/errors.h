// The library's error vocabulary: the numeric error codes, the executor and
// future error categories, and the exception types through which failures
// travel on asynchronous paths.
//
// Everything here is immutable or built on the throwing thread: no locks.
#pragma once

#include <cstdint>
#include <exception>
#include <stdexcept>
#include <string>
#include <system_error>

namespace devio {

// The library's numeric error codes (0 to 106).
enum class errc : std::uint32_t {
#define DEVIO_ERROR(value, name) name = value,
#include "devio/core/error_codes.def"
#undef DEVIO_ERROR
};

inline constexpr std::uint32_t kErrcCount = 107;

// Name of a code, "Unknown" for any value outside 0..106.
const char* errc_name(std::uint32_t code) noexcept;

// ---- executor errors -------------------------------------------------------

enum class executor_errc : int {
    capture_expired = 1,
    invalid_executor = 2,
    job_queue_stopped = 3,
};

// Messages are "executor_error, " followed by the code's name ("undefined"
// for values outside the enumeration).
const std::error_category& executor_category() noexcept;
std::error_code make_error_code(executor_errc e) noexcept;

// Raised when a job cannot be scheduled. what() is the category message.
class executor_error : public std::runtime_error {
public:
    explicit executor_error(executor_errc code);
    const std::error_code& code() const noexcept { return m_code; }

private:
    std::error_code m_code;
};

// ---- future errors ---------------------------------------------------------

enum class future_errc : int {
    broken_promise = 1,
    future_already_retrieved = 2,
    promise_already_satisfied = 3,
    no_state = 4,
    will_deadlock = 5,
    unobserved_result = 6,
    must_not_wait = 7,
};

// Messages are "future_error, " followed by the code's name ("undefined" for
// values outside the enumeration).
const std::error_category& future_category() noexcept;
std::error_code make_error_code(future_errc e) noexcept;

// Raised by misuse of futures and promises and by waits that cannot
// succeed. what() is the raising site's text; without one, the category
// message.
class future_error : public std::runtime_error {
public:
    explicit future_error(future_errc code);
    future_error(future_errc code, const char* site_text);
    const std::error_code& code() const noexcept { return m_code; }

private:
    std::error_code m_code;
};

// The one routine through which the library raises future errors. The
// process-wide switch kTerminateOnFutureError would turn the throw into an
// immediate termination; it is off and nothing turns it on.
[[noreturn]] void raise_future_error(future_errc code, const char* site_text);
inline constexpr bool kTerminateOnFutureError = false;

// ---- DevioException family -------------------------------------------------

// A failure carrying one of the library's error codes. what() reads
// "DevioException: <Name> (<code>)", followed by ": <message>" when a
// message was given and " [value <value>]" when the value is not 0.
class DevioException : public std::runtime_error {
public:
    explicit DevioException(std::uint32_t code, std::string message = {}, std::uint32_t value = 0);
    std::uint32_t code() const noexcept { return m_code; }
    const std::string& message() const noexcept { return m_message; }
    std::uint32_t value() const noexcept { return m_value; }

private:
    std::uint32_t m_code;
    std::string m_message;
    std::uint32_t m_value;
};

// One subclass per code but Success, so that callers can catch a single
// failure by type: DevioExceptionDeviceRemoved, DevioExceptionRap20Busy...
#define DEVIO_ERROR(value, name)                                                        \
    class DevioException##name : public DevioException {                                \
    public:                                                                             \
        explicit DevioException##name(std::string message = {}, std::uint32_t v = 0)    \
            : DevioException(value, std::move(message), v) {}                           \
    };
#define DEVIO_ERROR_SKIP_SUCCESS
#include "devio/core/error_codes.def"
#undef DEVIO_ERROR_SKIP_SUCCESS
#undef DEVIO_ERROR

// The exception of the subclass that matches code (the base class for 0 and
// for values outside the table), ready to be stored in a future.
std::exception_ptr make_devio_exception(std::uint32_t code, std::string message = {},
                                        std::uint32_t value = 0);
[[noreturn]] void throw_devio_exception(std::uint32_t code, std::string message = {},
                                        std::uint32_t value = 0);

// Records an executor error in the thread's last-error record and returns the
// library code it stands for: capture_expired 83, invalid_executor 91,
// job_queue_stopped 89, anything else 1 with the message
// "unexpected executor_errc value" and the raw value.
std::uint32_t translate_executor_error(int executor_errc_value);
// The same mapping without touching the last-error record (code 1 for
// values outside the enumeration).
std::uint32_t devio_code_for_executor_error(int executor_errc_value) noexcept;
std::uint32_t translate_executor_error(const executor_error& e);

}  // namespace devio

template <>
struct std::is_error_code_enum<devio::executor_errc> : std::true_type {};
template <>
struct std::is_error_code_enum<devio::future_errc> : std::true_type {};
