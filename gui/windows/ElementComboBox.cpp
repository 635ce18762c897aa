#include "gui/windows/ElementComboBox.h"

#include <vector>

#include "base/image/ElementNames.h"
#include "gui/widgets/WxText.h"

namespace Vespra::Wx {

namespace {

/// The alpha element's name inside the system.
constexpr char16_t ALPHA_ELEMENT_NAME[] = u"A";

} // namespace

ElementComboBox::ElementComboBox(wxWindow* parent, int width, Function<void()> onChange)
    : ComboBox(parent, wxID_ANY, width, std::move(onChange)) {}

wxString ElementComboBox::itemText(const ElementInfo& element) {
    wxString text = toWx(elementToChannelName(element.name));
    if (element.flags & ElementInfo::HAS_DENOISED) {
        text += " [Denoised]";
    }
    return text;
}

std::uint32_t ElementComboBox::itemFlags(const ElementInfo& element) {
    // The interactive bloom and glare and the alpha close a group of their own.
    std::uint32_t flags = 0;
    if (element.name == BLOOM_GLARE_INTERACTIVE_NAME || element.name == ALPHA_ELEMENT_NAME) {
        flags = SEPARATOR_AFTER | HIGHLIGHTED;
    }
    if (element.flags & ElementInfo::INTERACTIVE) {
        flags |= HIGHLIGHTED;
    }
    return flags;
}

void ElementComboBox::setElements(Array<ElementInfo> newElements) {
    elements = std::move(newElements);
    std::vector<Item> items;
    items.reserve(elements.size());
    for (std::size_t i = 0; i < elements.size(); ++i) {
        items.push_back({itemText(elements[i]), int(i), itemFlags(elements[i])});
    }
    setData(std::move(items));
    if (getCount() > 0) {
        selectIndex(0, false);
    }
    Refresh(true);
    Update();
}

void ElementComboBox::selectName(const String& name, bool notify) {
    for (std::size_t i = 0; i < elements.size(); ++i) {
        if (elements[i].name == name) {
            selectId(int(i), notify);
            return;
        }
    }
}

String ElementComboBox::currentName() const {
    const int id = getSelectedId();
    if (id < 0 || std::size_t(id) >= elements.size()) {
        return BLOOM_GLARE_INTERACTIVE_NAME;
    }
    return elements[std::size_t(id)].name;
}

} // namespace Vespra::Wx
