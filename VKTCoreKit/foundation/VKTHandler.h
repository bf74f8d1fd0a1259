// Functions that the application may leave out.
#pragma once

#include <functional>
#include <utility>

template <typename Signature>
class VKTHandler;

/// A `std::function` without a result that may be empty: calling an empty one does nothing. Readers take
/// their handlers as this, so that none of them has to ask first.
template <typename... Arguments>
class VKTHandler<void(Arguments...)> : public std::function<void(Arguments...)> {
  public:
    using Function = std::function<void(Arguments...)>;
    using Function::Function;
    VKTHandler(Function function) : Function(std::move(function)) {}

    void operator()(Arguments... arguments) const {
        if (*this) Function::operator()(std::forward<Arguments>(arguments)...);
    }
};
