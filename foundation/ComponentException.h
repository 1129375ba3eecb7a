#pragma once

#include <stdexcept>
#include <string>

// A failure reported by the component layer of the common library, with its
// message text. The tool's own code throws none, but its entry still catches
// them apart from other runtime errors.
class ComponentException : public std::runtime_error {
public:
    explicit ComponentException(const std::string& message) : std::runtime_error(message) {}
};
