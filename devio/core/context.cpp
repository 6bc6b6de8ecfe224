#include "devio/core/context.h"

namespace devio {
namespace {

struct thread_context {
    bool must_not_block = false;
    executor_impl* served = nullptr;
    last_error error;
};

thread_context& this_context() noexcept {
    thread_local thread_context context;
    return context;
}

}  // namespace

std::uint32_t set_last_error(std::uint32_t code, const char* message, std::uint32_t value) noexcept {
    this_context().error = last_error{code, message, value};
    return code;
}

const last_error& get_last_error() noexcept { return this_context().error; }

void clear_last_error() noexcept { this_context().error = last_error{}; }

bool must_not_block() noexcept { return this_context().must_not_block; }

executor_impl* served_executor() noexcept { return this_context().served; }

must_not_block_scope::must_not_block_scope() noexcept : m_previous(this_context().must_not_block) {
    this_context().must_not_block = true;
}

must_not_block_scope::~must_not_block_scope() { this_context().must_not_block = m_previous; }

serving_scope::serving_scope(executor_impl* executor) noexcept : m_previous(this_context().served) {
    this_context().served = executor;
}

serving_scope::~serving_scope() { this_context().served = m_previous; }

}  // namespace devio
