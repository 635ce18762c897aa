#include "gui/AssertHandler.h"

#include <atomic>

#include <wx/debug.h>

#include "foundation/Logger.h"
#include "gui/widgets/WxText.h"
#include "gui/windows/ErrorWindow.h"

namespace Vespra::Wx {

namespace {

/// wxLocale asks for locale data that the "C" locale lacks and asserts on it; the editor runs
/// fine without it.
bool isHarmless(const wxString& function, const wxString& condition) {
    return function == "wxLocale::GetInfo" && condition == "strcmp(setlocale(0, 0), \"C\") == 0";
}

} // namespace

void installAssertHandler() {
    wxSetAssertHandler(&reportAssertion);
}

void reportAssertion(const wxString& file, int line, const wxString& function, const wxString& condition,
                     const wxString& message) {
    if (isHarmless(function, condition)) {
        return;
    }
    // Once something is broken, the assertions that follow are mostly its echoes.
    static std::atomic<bool> reported = false;
    if (reported.exchange(true)) {
        return;
    }
    const String text = u"An internal error occurred: wxWidgets Assertion failure. Please report this problem to "
                        u"us.\nFile: " +
                        fromWx(file) + u"(" + String::fromUtf8(std::to_string(line)) + u")\nFunction: " +
                        fromWx(function) + u"\nCondition: " + fromWx(condition) + u"\nMessage: " + fromWx(message);
    const SharedPtr<Abstract::Logger> logger = Log::getGlobalLogger();
    if (auto* window = dynamic_cast<IErrorWindow*>(logger.get())) {
        IErrorWindow::Message report;
        report.text = text;
        report.kind = IErrorWindow::ERROR_KIND;
        report.linkText = Vespra::ErrorWindow::getHelpdeskUrl(ASSERTION_HELP_LINK);
        report.linkUrl = report.linkText;
        window->addMessage(report);
    } else {
        Log::report(text, LogLevel::ERROR);
    }
}

} // namespace Vespra::Wx
