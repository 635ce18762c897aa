#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

#include <wx/panel.h>
#include <wx/scrolwin.h>
#include <wx/settings.h>
#include <wx/sizer.h>

#include "foundation/Containers.h"
#include "foundation/Pointers.h"
#include "foundation/String.h"
#include "gui/widgets/Button.h"
#include "gui/widgets/CheckBox.h"
#include "gui/widgets/GuiSkin.h"
#include "gui/widgets/Tooltip.h"
#include "gui/widgets/WindowUtils.h"
#include "gui/widgets/WxText.h"

namespace Vespra::Wx {

/// A check list of items with "All", "None" and "Inverse" above it. The list scrolls once it
/// is taller than `MAX_LIST_HEIGHT`. `onChange` runs after every change of the selection by a
/// box, a button or `forEach`; `setItems` runs none.
template <class T>
class ItemSelectPanel : public wxPanel {
public:
    /// The most the list grows before it scrolls, in device-independent pixels.
    static constexpr int MAX_LIST_HEIGHT = 400;

    ItemSelectPanel(wxWindow* parent, Function<String(const T&)> labelOf)
        : wxPanel(parent, wxID_ANY), labelOf(std::move(labelOf)) {
        // The skin before the children, which take their colours from their parents.
        applySkinRecursive(this, activeSkin());
        createControls();
        layoutControls();
    }

    /// Replaces the list by `newItems`, each checked when `initial` says so (none, when it is
    /// empty), and sizes the list to them. Runs no `onChange`.
    void setItems(Array<T> newItems, const Function<bool(const T&)>& initial) {
        list->Freeze();
        listSizer->Clear(true);
        boxes.clear();
        items = std::move(newItems);
        for (const T& item : items) {
            auto* box = new CheckBox(list, wxID_ANY, toWx(labelOf(item)));
            box->setValue(initial && initial(item), false);
            box->setChangeCallback([this](bool) { notifyChange(); });
            listSizer->Add(box, 0, wxBOTTOM, ROW_GAP);
            boxes.push_back(box);
        }
        list->Thaw();
        fitList();
    }

    /// Hands each item and whether it is checked to `function`, and checks it by the answer.
    /// `onChange` runs once at the end if any box changed.
    void forEach(const Function<bool(const T&, bool)>& function) {
        bool changed = false;
        for (std::size_t i = 0; i < items.size(); ++i) {
            const bool checked = boxes[i]->getValue();
            const bool wanted = function(items[i], checked);
            if (wanted != checked) {
                boxes[i]->setValue(wanted, false);
                changed = true;
            }
        }
        if (changed) {
            notifyChange();
        }
    }

    std::size_t selectedCount() const {
        return std::size_t(std::ranges::count_if(boxes, [](const CheckBox* box) { return box->getValue(); }));
    }

    /// The checked items, in the order of the list.
    Array<T> getSelected() const {
        Stack<T> selected;
        for (std::size_t i = 0; i < items.size(); ++i) {
            if (boxes[i]->getValue()) {
                selected.push(items[i]);
            }
        }
        return selected;
    }

    const Array<T>& getItems() const { return items; }
    const std::vector<CheckBox*>& getCheckBoxes() const { return boxes; }
    wxScrolledWindow* getList() const { return list; }
    AutoSizedButton* getAllButton() const { return allButton; }
    AutoSizedButton* getNoneButton() const { return noneButton; }
    AutoSizedButton* getInverseButton() const { return inverseButton; }

private:
    /// Sizes in device-independent pixels.
    static constexpr int BUTTON_WIDTH = 60;
    static constexpr int BUTTON_HEIGHT = 24;
    /// Pixels under each box.
    static constexpr int ROW_GAP = 2;

    void createControls() {
        const auto button = [this](const char* label, const char* tooltip, Function<bool(bool)> effect) {
            auto* created = new AutoSizedButton(this, label, wxSize(BUTTON_WIDTH, BUTTON_HEIGHT));
            attachTooltip(created, tooltip);
            created->onClick = [this, effect = std::move(effect)] {
                forEach([&effect](const T&, bool checked) { return effect(checked); });
            };
            return created;
        };
        allButton = button("All", "Select all of them.", [](bool) { return true; });
        noneButton = button("None", "Select none of them.", [](bool) { return false; });
        inverseButton =
            button("Inverse", "Invert the current selection.", [](bool checked) { return !checked; });

        list = new wxScrolledWindow(this, wxID_ANY, wxDefaultPosition, wxDefaultSize, wxVSCROLL);
        list->SetBackgroundColour(GetBackgroundColour());
        list->SetForegroundColour(GetForegroundColour());
        listSizer = new wxBoxSizer(wxVERTICAL);
        list->SetSizer(listSizer);
    }

    void layoutControls() {
        buttonRow = new wxBoxSizer(wxHORIZONTAL);
        buttonRow->Add(allButton);
        buttonRow->Add(noneButton);
        buttonRow->Add(inverseButton);
        auto* sizer = new wxBoxSizer(wxVERTICAL);
        sizer->Add(buttonRow);
        sizer->Add(list, 1, wxEXPAND | wxTOP, 2 * wxSizerFlags::GetDefaultBorder());
        SetSizer(sizer);
    }

    /// The list is as tall as its boxes up to the cap, and as wide as the widest box, with room
    /// for the scroll bar when it scrolls; never narrower than the buttons above it.
    void fitList() {
        const wxSize content = listSizer->GetMinSize();
        const int cap = scaleByDpi(MAX_LIST_HEIGHT);
        const bool scrolls = content.y > cap;
        const int bar = scrolls ? wxSystemSettings::GetMetric(wxSYS_VSCROLL_X, list) : 0;
        const int rowStep = boxes.empty() ? 1 : boxes.front()->GetBestSize().y + ROW_GAP;
        list->SetScrollRate(0, rowStep);
        const int width = std::max(content.x + std::max(bar, 0), buttonRow->GetMinSize().x);
        list->SetMinSize(wxSize(width, std::min(content.y, cap)));
        list->FitInside();
        list->Scroll(0, 0);
        InvalidateBestSize();
        Layout();
    }

    void notifyChange() {
        if (onChange) {
            onChange();
        }
    }

    Array<T> items;
    std::vector<CheckBox*> boxes;
    Function<String(const T&)> labelOf;
    wxScrolledWindow* list = nullptr;
    wxBoxSizer* listSizer = nullptr;
    AutoSizedButton* allButton = nullptr;
    AutoSizedButton* noneButton = nullptr;
    AutoSizedButton* inverseButton = nullptr;
    wxBoxSizer* buttonRow = nullptr;

public:
    /// Runs after each change of the selection (see above).
    Function<void()> onChange;
};

} // namespace Vespra::Wx
