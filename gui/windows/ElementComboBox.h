#pragma once

#include "base/image/ElementInfo.h"
#include "foundation/Containers.h"
#include "foundation/String.h"
#include "gui/widgets/ComboBox.h"

namespace Vespra::Wx {

/// The list of render elements from which the user picks the one shown. Each item's id is the
/// index of its element.
class ElementComboBox : public ComboBox {
public:
    /// `width` in device-independent pixels; `onChange` runs when the user picks an element.
    ElementComboBox(wxWindow* parent, int width, Function<void()> onChange);

    /// Lists the elements, in their order, and selects the first.
    void setElements(Array<ElementInfo> newElements);
    const Array<ElementInfo>& getElements() const { return elements; }

    /// Selects the element of that name; an unknown name leaves the selection.
    void selectName(const String& name, bool notify);
    /// The name of the selected element, or "Bloom and Glare Interactive" with none selected.
    String currentName() const;

    /// The text of an element's item: its name as the user knows it, marked when it has a
    /// denoised version.
    static wxString itemText(const ElementInfo& element);
    /// The flags of an element's item (`ComboBox::ItemFlag`).
    static std::uint32_t itemFlags(const ElementInfo& element);

private:
    Array<ElementInfo> elements;
};

} // namespace Vespra::Wx
