#include "gui/widgets/PropertyComboBox.h"

#include <wx/dcclient.h>

#include "gui/widgets/PropertyBinding.h"
#include "gui/widgets/WindowUtils.h"
#include "gui/widgets/WxText.h"

namespace Vespra::Wx {

namespace {

/// The part of the box's width that the drop-down button and the margins take from a label,
/// in device-independent pixels.
constexpr int LABEL_MARGIN = 35;

} // namespace

PropertyComboBox::PropertyComboBox(wxWindow* parent, Settings& settings, std::int32_t id, int width,
                                   Function<String(const Property&)> labelOf)
    : PassToMainThreadMixin(parent, wxID_ANY, width, nullptr), settings(&settings), propertyId(id),
      labelOf(std::move(labelOf)) {
    listener = bindToProperty(*this, settings, propertyId, [this](const Property& value) { show(value); });
    setChangeCallback([this] { onChoice(); });
}

void PropertyComboBox::setValues(Array<Property> newValues) {
    values = std::move(newValues);
    wxClientDC dc(this);
    dc.SetFont(GetFont());
    const int labelWidth = GetSize().x - scaleByDpi(LABEL_MARGIN);
    std::vector<Item> items;
    items.reserve(values.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
        const wxString label =
            wxControl::Ellipsize(toWx(labelOf(values[i])), dc, wxELLIPSIZE_MIDDLE, labelWidth,
                                 wxELLIPSIZE_FLAGS_PROCESS_MNEMONICS | wxELLIPSIZE_FLAGS_EXPAND_TABS);
        items.push_back({label, int(i), 0});
    }
    setData(std::move(items));
    show(settings->get(propertyId));
    Refresh(true);
}

void PropertyComboBox::show(const Property& value) {
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (values[i] == value) {
            selectId(int(i), false);
            return;
        }
    }
}

void PropertyComboBox::onChoice() {
    const int index = getSelectedId();
    if (index < 0 || index >= int(values.size())) {
        return;
    }
    settings->set(propertyId, values[std::size_t(index)]);
    Refresh(true);
    Update();
}

bool PropertyComboBox::Enable(bool enable) {
    // The box draws its focus highlight only with the read-only bit: without it, a disabled box
    // that kept the focus doesn't look selected.
    const long style = GetWindowStyleFlag();
    SetWindowStyleFlag(enable ? (style | wxCB_READONLY) : (style & ~long(wxCB_READONLY)));
    const bool changed = PassToMainThreadMixin::Enable(enable);
    Refresh(true);
    return changed;
}

} // namespace Vespra::Wx
