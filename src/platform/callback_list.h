#pragma once

#include <functional>
#include <map>
#include <memory>
#include <utility>

namespace wharf {

// A list of callbacks that listeners join by holding a Subscription; dropping the
// subscription leaves the list, so a listener can never be called after it is gone.
template <typename... Args>
class CallbackList {
public:
    class Subscription {
    public:
        Subscription() = default;
        Subscription(Subscription&&) noexcept = default;
        Subscription& operator=(Subscription&& other) noexcept
        {
            reset();
            slots_ = std::move(other.slots_);
            key_ = other.key_;
            return *this;
        }
        Subscription(const Subscription&) = delete;
        Subscription& operator=(const Subscription&) = delete;
        ~Subscription() { reset(); }

        void reset()
        {
            if (auto slots = slots_.lock())
                slots->erase(key_);
            slots_.reset();
        }

    private:
        friend class CallbackList;
        using Slots = std::map<int, std::function<void(Args...)>>;
        Subscription(std::weak_ptr<Slots> slots, int key) : slots_(std::move(slots)), key_(key) {}
        std::weak_ptr<Slots> slots_;
        int key_ = 0;
    };

    [[nodiscard]] Subscription add(std::function<void(Args...)> callback)
    {
        const int key = nextKey_++;
        (*slots_)[key] = std::move(callback);
        return Subscription(slots_, key);
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
    using Slots = typename Subscription::Slots;
    std::shared_ptr<Slots> slots_ = std::make_shared<Slots>();
    int nextKey_ = 1;
};

} // namespace wharf
