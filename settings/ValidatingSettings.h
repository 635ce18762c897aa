#pragma once

#include "settings/Settings.h"

namespace Vespra {

/// Settings that take only the values `Settings::validate` accepts, in front of other settings.
/// A value of another type than its property's, or a number out of its property's range, raises
/// `Exception` with the reason and leaves the settings behind as they were. Readers of a user's
/// files write through it, so that a bad line fails with its line number instead of reaching
/// code that reads the property as its own type.
class ValidatingSettings final : public Abstract::Settings {
public:
    /// `target` must outlive this object.
    explicit ValidatingSettings(Abstract::Settings& target) : target(target) {}

    Property get(std::int32_t id) const override { return target.get(id); }
    void set(std::int32_t id, const Property& value) override;

private:
    Abstract::Settings& target;
};

} // namespace Vespra
