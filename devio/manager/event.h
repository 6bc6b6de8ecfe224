// Events of the library: a producer delivers each event to its subscribers,
// each on the executor the subscriber chose, so that callbacks never run on
// the thread that raised the event.
//
// Event types describe their handler interface:
//   struct SomeEvent { struct handler { virtual void onSomething(...) = 0; }; };
// Producer<E>::publish takes a callable applied to each handler.
//
// Locks: the producer's lock guards its subscription list; a subscription's
// own lock is held while its handler runs, so that unsubscribe returns only
// once no handler of it runs (except when called from inside that handler).
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "devio/core/executor.h"

namespace devio {

namespace detail {
template <class Handler>
struct subscription_token {
    std::recursive_mutex mutex;
    Handler* handler = nullptr;  // null once unsubscribed
    executor target;
};
}  // namespace detail

template <class E>
class Producer {
public:
    using handler = typename E::handler;
    using token = detail::subscription_token<handler>;

    void add(const std::shared_ptr<token>& t) {
        std::lock_guard lock(m_mutex);
        m_tokens.push_back(t);
    }

    // Schedules call(handler&) for every live subscriber. A subscriber whose
    // executor refuses the job misses the event.
    void publish(std::function<void(handler&)> call) {
        for (const auto& t : live_tokens()) {
            executor target;
            {
                std::lock_guard lock(t->mutex);
                target = t->target;
            }
            try {
                target.schedule([t, call] {
                    std::lock_guard lock(t->mutex);
                    if (t->handler) call(*t->handler);
                });
            } catch (const executor_error&) {
            }
        }
    }

private:
    std::vector<std::shared_ptr<token>> live_tokens() {
        std::lock_guard lock(m_mutex);
        std::erase_if(m_tokens, [](const std::weak_ptr<token>& w) { return w.expired(); });
        std::vector<std::shared_ptr<token>> out;
        for (const auto& w : m_tokens)
            if (auto t = w.lock()) out.push_back(std::move(t));
        return out;
    }

    std::mutex m_mutex;
    std::vector<std::weak_ptr<token>> m_tokens;
};

// Base of an object that receives E's events. Destroying it ends the
// subscription.
template <class E>
class Subscriber : public E::handler {
public:
    Subscriber() = default;
    Subscriber(const Subscriber&) = delete;
    Subscriber& operator=(const Subscriber&) = delete;
    virtual ~Subscriber() { unsubscribe(); }

    // Attaches this object to producer; its handlers run on target. A second
    // subscribe replaces the first.
    virtual void subscribe(Producer<E>& producer, executor target) {
        unsubscribe();
        auto t = std::make_shared<typename Producer<E>::token>();
        t->handler = this;
        t->target = std::move(target);
        {
            std::lock_guard lock(m_mutex);
            m_token = t;
        }
        producer.add(t);
    }

    virtual void unsubscribe() {
        std::shared_ptr<typename Producer<E>::token> t;
        {
            std::lock_guard lock(m_mutex);
            t = std::move(m_token);
        }
        if (!t) return;
        std::lock_guard lock(t->mutex);
        t->handler = nullptr;
        t->target = executor();
    }

private:
    std::mutex m_mutex;
    std::shared_ptr<typename Producer<E>::token> m_token;
};

}  // namespace devio
