#include "settings/ValidatingSettings.h"

#include "foundation/Exception.h"

namespace Vespra {

void ValidatingSettings::set(std::int32_t id, const Property& value) {
    String reason;
    if (!Vespra::Settings::validate(id, value, reason)) {
        // Messages that name a line put their own full stop behind the reason.
        while (reason.endsWith(u".")) {
            reason.erase(reason.length() - 1);
        }
        throw Exception(reason);
    }
    target.set(id, value);
}

} // namespace Vespra
