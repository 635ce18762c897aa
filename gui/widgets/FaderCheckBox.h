#pragma once

#include "gui/widgets/CheckBox.h"

namespace Vespra::Wx {

/// The switch of a row of faders: a check box without a label, whose change callback is all
/// it does.
class FaderCheckBox : public CheckBox {
public:
    explicit FaderCheckBox(wxWindow* parent) : CheckBox(parent, wxID_ANY, wxEmptyString) {}
};

} // namespace Vespra::Wx
