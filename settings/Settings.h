#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <vector>

#include "foundation/Optional.h"
#include "foundation/Pointers.h"
#include "settings/Property.h"

namespace Vespra {

namespace Abstract {

/// Where properties are read and written.
class Settings : public Polymorphic {
public:
    virtual Property get(std::int32_t id) const = 0;
    virtual void set(std::int32_t id, const Property& value) = 0;
};

} // namespace Abstract

/// Told of every change of one property, on the thread that made it.
using SettingsListener = Function<void(std::int32_t id, const Property& value)>;

/// The current values of the properties that differ from the table. Listeners are held
/// weakly: a registration ends when the registering owner drops its last `SharedPtr`.
class Settings : public Abstract::Settings {
public:
    Settings() = default;
    Settings(const Settings&) = delete;
    Settings& operator=(const Settings&) = delete;

    /// The stored value, else the table's default. An id without a descriptor raises
    /// `Exception` with "Requested property id is not defined."
    Property get(std::int32_t id) const override;

    /// Stores the value and calls the listeners of `id`, unless the value is already stored
    /// (a write that changes nothing notifies nobody).
    void set(std::int32_t id, const Property& value) override;

    void addListener(std::int32_t id, const SharedPtr<SettingsListener>& listener);

    /// Sets every value of `other` whose id passes `filter` (all, when the filter is empty).
    /// Ids that `other` doesn't hold keep their values.
    void copyFrom(const Settings& other, const Function<bool(std::int32_t)>& filter = {});

    /// Whether a value is stored for `id`, rather than the table's default being in effect.
    bool isSet(std::int32_t id) const;

    std::int32_t getNumWorkerThreads() const;
    std::int32_t getRandomSeed() const;

    /// Whether `value` may be stored under `id`; when not, `error` says why.
    static bool validate(std::int32_t id, const Property& value, String& error);
    /// The full message for an invalid value: "Property <key> is invalid. <reason>", or
    /// nothing when the value is valid.
    static Optional<String> validationMessage(std::int32_t id, const Property& value);

private:
    std::map<std::int32_t, Property> values;
    mutable std::recursive_mutex valuesLock;
    std::map<std::int32_t, std::vector<WeakPtr<SettingsListener>>> listeners;
    // Taken before `valuesLock`, and held while listeners run.
    mutable std::recursive_mutex listenersLock;
};

} // namespace Vespra
