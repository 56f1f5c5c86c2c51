#pragma once
// Environment variables of the tests' own process.

#include <optional>
#include <string>

namespace support {

/// A variable of the environment, set or, without a value, unset for a scope.
class ScopedVariable {
public:
    ScopedVariable(std::string name, const std::optional<std::string>& value);
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;
    ~ScopedVariable();

private:
    std::string name_;
    std::optional<std::string> previous_;
};

} // namespace support
