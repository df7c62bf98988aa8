#pragma once

#include <functional>
#include <map>
#include <memory>
#include <utility>

namespace wharf {

// Membership of one callback in a CallbackList; dropping it leaves the list. Subscriptions of
// lists with different arguments share this one type, so an owner can keep them all together.
class Subscription {
public:
    Subscription() = default;
    explicit Subscription(std::function<void()> cancel) : cancel_(std::move(cancel)) {}
    Subscription(Subscription&& other) noexcept : cancel_(std::exchange(other.cancel_, nullptr)) {}
    Subscription& operator=(Subscription&& other) noexcept
    {
        if (this != &other) {
            reset();
            cancel_ = std::exchange(other.cancel_, nullptr);
        }
        return *this;
    }
    Subscription(const Subscription&) = delete;
    Subscription& operator=(const Subscription&) = delete;
    ~Subscription() { reset(); }

    void reset()
    {
        if (auto cancel = std::exchange(cancel_, nullptr))
            cancel();
    }

private:
    std::function<void()> cancel_;
};

// A list of callbacks that listeners join by holding a Subscription; dropping the
// subscription leaves the list, so a listener can never be called after it is gone.
template <typename... Args>
class CallbackList {
public:
    using Subscription = wharf::Subscription;

    [[nodiscard]] Subscription add(std::function<void(Args...)> callback)
    {
        const int key = nextKey_++;
        (*slots_)[key] = std::move(callback);
        return Subscription([weak = std::weak_ptr<Slots>(slots_), key] {
            if (auto slots = weak.lock())
                slots->erase(key);
        });
    }

    void notify(Args... args) const
    {
        // Copy first: a callback may subscribe or unsubscribe while we iterate.
        const auto slots = *slots_;
        for (const auto& [key, callback] : slots) {
            if (slots_->count(key))
                callback(args...);
        }
    }

    bool empty() const { return slots_->empty(); }

private:
    using Slots = std::map<int, std::function<void(Args...)>>;
    std::shared_ptr<Slots> slots_ = std::make_shared<Slots>();
    int nextKey_ = 1;
};

} // namespace wharf
