#include "settings/Settings.h"

#include "foundation/Exception.h"
#include "settings/PropertyDescriptor.h"

namespace Vespra {

namespace {

bool isNumber(PropertyType type) {
    return type == PropertyType::INT || type == PropertyType::FLOAT;
}

template <class T>
bool isWithin(const Property& value, const PropertyDescriptor& row) {
    const T number = value;
    const bool aboveMin = row.minValue.isNone() || !(number < T(row.minValue));
    const bool belowMax = row.maxValue.isNone() || !(number > T(row.maxValue));
    return aboveMin && belowMax;
}

std::int32_t readIntByKey(const Settings& settings, const char16_t* key) {
    const PropertyDescriptor* row = PropertyDescriptor::find(key);
    VESPRA_ASSERT(row != nullptr);
    return settings.get(row->id).asInt();
}

} // namespace

Property Settings::get(std::int32_t id) const {
    {
        std::lock_guard lock(valuesLock);
        if (const auto found = values.find(id); found != values.end()) {
            return found->second;
        }
    }
    if (const PropertyDescriptor* row = PropertyDescriptor::get(id)) {
        return row->defaultValue;
    }
    throw Exception(u"Requested property id is not defined.");
}

void Settings::set(std::int32_t id, const Property& value) {
    std::lock_guard listenersGuard(listenersLock);
    {
        std::lock_guard valuesGuard(valuesLock);
        const auto [slot, inserted] = values.try_emplace(id, value);
        if (!inserted) {
            const bool sameType = slot->second.getType() == value.getType();
            if (sameType && (value.isNone() || slot->second == value)) {
                return;
            }
            // Assigning a fresh Property destroys the old alternative first.
            slot->second = value;
        }
    }
    const auto found = listeners.find(id);
    if (found == listeners.end()) {
        return;
    }
    // A snapshot of the live listeners, so that a listener may register others or drop
    // itself while it runs; expired entries are dropped here.
    std::vector<SharedPtr<SettingsListener>> live;
    std::erase_if(found->second, [&live](const WeakPtr<SettingsListener>& weak) {
        if (auto listener = weak.lock()) {
            live.push_back(std::move(listener));
            return false;
        }
        return true;
    });
    for (const auto& listener : live) {
        (*listener)(id, value);
    }
}

void Settings::addListener(std::int32_t id, const SharedPtr<SettingsListener>& listener) {
    std::lock_guard lock(listenersLock);
    listeners[id].push_back(listener);
}

void Settings::copyFrom(const Settings& other, const Function<bool(std::int32_t)>& filter) {
    // The values are copied out first: setting them under `other`'s lock could deadlock
    // against a listener of `other` that writes here.
    std::vector<std::pair<std::int32_t, Property>> accepted;
    {
        std::lock_guard lock(other.valuesLock);
        for (const auto& [id, value] : other.values) {
            if (!filter || filter(id)) {
                accepted.emplace_back(id, value);
            }
        }
    }
    for (const auto& [id, value] : accepted) {
        set(id, value);
    }
}

bool Settings::isSet(std::int32_t id) const {
    std::lock_guard lock(valuesLock);
    return values.contains(id);
}

std::int32_t Settings::getNumWorkerThreads() const {
    return readIntByKey(*this, u"system.numThreads");
}

std::int32_t Settings::getRandomSeed() const {
    return readIntByKey(*this, u"system.randomSeed");
}

bool Settings::validate(std::int32_t id, const Property& value, String& error) {
    const PropertyDescriptor* row = PropertyDescriptor::get(id);
    if (!row) {
        error = u"Value is unrecognized.";
        return false;
    }
    if (value.getType() != row->type) {
        error = u"Value has wrong type.";
        return false;
    }
    if (!isNumber(row->type)) {
        return true;
    }
    const bool within =
        row->type == PropertyType::INT ? isWithin<std::int32_t>(value, *row) : isWithin<float>(value, *row);
    if (!within) {
        error = u"Value is expected to be between " + toStr(row->minValue) + u" and " + toStr(row->maxValue);
        return false;
    }
    return true;
}

Optional<String> Settings::validationMessage(std::int32_t id, const Property& value) {
    String reason;
    if (validate(id, value, reason)) {
        return std::nullopt;
    }
    const PropertyDescriptor* row = PropertyDescriptor::get(id);
    const String name = row ? row->name : String::fromUtf8(std::to_string(id));
    return u"Property " + name + u" is invalid. " + reason;
}

} // namespace Vespra
