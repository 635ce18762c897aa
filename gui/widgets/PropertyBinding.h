#pragma once

#include <cstdint>
#include <utility>

#include "foundation/Pointers.h"
#include "settings/Settings.h"

namespace Vespra::Wx {

/// Ties a window of `PassToMainThreadMixin` to the property `id` of `settings`: `show` runs on
/// the GUI thread with every value written to the property from any thread, and right away with
/// the value the property holds now (the caller is on the GUI thread). The answer is the
/// registration: `settings` holds it weakly, so it ends when the window drops it.
///
/// `show` puts the value on the control without any notification of the control's own, so that
/// nothing goes back to `settings`.
template <class Window>
SharedPtr<SettingsListener> bindToProperty(Window& window, Settings& settings, std::int32_t id,
                                           Function<void(const Property&)> show) {
    SharedPtr<SettingsListener> listener =
        window.wrapListener([show](std::int32_t, const Property& value) { show(value); });
    settings.addListener(id, listener);
    show(settings.get(id));
    return listener;
}

} // namespace Vespra::Wx
