// A move-only nullary callable: the unit of work executors run. Jobs often
// own promises and futures, which cannot be copied, so std::function will
// not do.
#pragma once

#include <memory>
#include <type_traits>
#include <utility>

namespace devio {

class job {
public:
    job() = default;
    template <class F, class = std::enable_if_t<!std::is_same_v<std::decay_t<F>, job>>>
    job(F&& f) : m_callable(std::make_unique<model<std::decay_t<F>>>(std::forward<F>(f))) {}

    explicit operator bool() const noexcept { return m_callable != nullptr; }
    void operator()() { m_callable->invoke(); }

private:
    struct concept_t {
        virtual ~concept_t() = default;
        virtual void invoke() = 0;
    };
    template <class F>
    struct model final : concept_t {
        explicit model(F&& f) : m_f(std::move(f)) {}
        explicit model(const F& f) : m_f(f) {}
        void invoke() override { m_f(); }
        F m_f;
    };
    std::unique_ptr<concept_t> m_callable;
};

}  // namespace devio
