#include "gui/Library.h"

#include <OpenEXR/ImfThreading.h>
#include <OpenImageIO/imageio.h>

#include "foundation/Exception.h"
#include "foundation/Lib.h"
#include "foundation/Logger.h"
#include "foundation/Scheduler.h"
#include "foundation/TranslationTable.h"
#include "foundation/Utils.h"
#include "gui/AssertHandler.h"
#include "gui/windows/ErrorWindow.h"
#include "resources/Resources.h"
#include "settings/PropertyDescriptor.h"

namespace Vespra {

namespace {

SharedPtr<ApplicationContext>& contextSlot() {
    static SharedPtr<ApplicationContext> context;
    return context;
}

void registerTranslations() {
    const auto texts = Resources::find("StringsVespraCore.csv");
    if (!texts) {
        throw Exception(u"bad_optional_access");
    }
    TranslationTable::getInstance().registerResource(*texts);
}

/// OpenEXR and OpenImageIO keep pools of their own; they get as many threads as the machine
/// has, or none, so that they are gone before the scheduler is.
void setImageLibraryThreads(int count) {
    Imf::setGlobalThreadCount(count);
    OIIO::attribute("threads", count == 0 ? 1 : count);
}

} // namespace

SharedPtr<ApplicationContext> ApplicationContext::get() {
    return contextSlot();
}

namespace Library {

void initLib(SharedPtr<ApplicationContext> context) {
    if (!Lib::startup()) {
        throw Exception(u"This processor lacks the SSE4.1 instructions that the editor needs.");
    }
    if (!Wx::LibWx::startup(context->applicationType)) {
        throw Exception(u"The window system cannot be reached: is DISPLAY set?");
    }
    Wx::setActiveSkin(context->skin);
    contextSlot() = std::move(context);
    registerTranslations();
    Wx::installAssertHandler();
    Log::setGlobalLogger(ErrorWindow::create());
    PropertyDescriptor::descriptorsCount();
    setImageLibraryThreads(Utils::getLogicalProcessorCount());
    Scheduler::highPriorityInstance();
}

void shutdownLib() {
    Log::setGlobalLogger(nullptr);
    setImageLibraryThreads(0);
    Wx::LibWx::shutdown();
    Lib::shutdown();
    contextSlot() = nullptr;
}

} // namespace Library

} // namespace Vespra
