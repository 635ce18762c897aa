#include "apps/cmd/BatchJob.h"

#include <atomic>
#include <ostream>

#include <fmt/format.h>

#include "base/image/ElementNames.h"
#include "foundation/Scheduler.h"
#include "foundation/image/ImageFile.h"
#include "imaging/ColorMapping.h"
#include "imaging/PostProcessData.h"
#include "settings/Conf.h"
#include "settings/PropertyCatalogue.h"
#include "settings/PropertyIds.h"
#include "settings/ValidatingSettings.h"

namespace Vespra::Cmd {

namespace {

constexpr const char* EXECUTABLE_NAME = "vespra-image-cmd";

std::string jsonString(const String& text) {
    std::string escaped = "\"";
    for (const char c : text.toUtf8()) {
        if (c == '"' || c == '\\') {
            escaped += '\\';
            escaped += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            escaped += fmt::format("\\u{:04x}", int(c));
        } else {
            escaped += c;
        }
    }
    return escaped + "\"";
}

const char* kindName(std::uint32_t kind) {
    switch (kind) {
    case ElementInfo::KIND_COLOR:
        return "color";
    case ElementInfo::KIND_COLOR_ALPHA:
        return "color+alpha";
    case ElementInfo::KIND_SINGLE_CHANNEL:
        return "mono";
    default:
        return "none";
    }
}

bool isShown(const ElementInfo& element) {
    return !(element.flags & ElementInfo::INTERNAL) && element.kind != ElementInfo::KIND_NONE;
}

} // namespace

BatchJob::BatchJob(CommandLineOptions options, std::ostream& out)
    : options(std::move(options)), out(out), progress(this->options.quiet), graph(settings) {
    graph.load.commandLineName = String::fromUtf8(EXECUTABLE_NAME);
}

template <class Operator, class Start>
bool BatchJob::runToEnd(Operator& op, Start start) {
    std::promise<bool> done;
    // A denoiser may report an error of its own before the run ends; the first report decides.
    std::atomic<bool> settled = false;
    const auto settle = [&done, &settled](bool finished) {
        if (!settled.exchange(true)) {
            done.set_value(finished);
        }
    };
    op.onStarted = [this](const String& title) { progress.started(title); };
    op.onProgress = [this](float fraction) { progress.progress(fraction); };
    op.onWarning = [this](const String& text) { progress.message("Warning: ", text); };
    op.onFinished = [this, &settle](const String& text) {
        progress.finished();
        if (!text.isEmpty() && !options.quiet) {
            progress.message("", text);
        }
        settle(true);
    };
    op.onError = [this, &settle](const String& text) {
        progress.message("Error: ", text);
        settle(false);
    };
    start();
    return done.get_future().get();
}

int BatchJob::run() {
    if (options.threads > 0) {
        Scheduler::highPriorityInstance().setParallelWorkerThreadsCount(options.threads);
    }
    if (!load()) {
        return EXIT_FAILED;
    }
    if (const int status = applySettings(); status != EXIT_OK) {
        return status;
    }
    if (options.denoise && !denoise()) {
        return EXIT_FAILED;
    }
    if (options.listElements) {
        listElements();
    }
    if (options.printSettings) {
        printSettings();
    }
    return options.output.empty() ? EXIT_OK : save();
}

bool BatchJob::load() {
    Stack<Io::Path> paths;
    for (const std::string& input : options.inputs) {
        paths.push(Io::Path(String::fromUtf8(input)));
    }
    return runToEnd(graph.load, [&] { graph.load.setInput(std::move(options.weights), std::move(paths)); });
}

int BatchJob::applySettings() {
    try {
        // A value of the wrong type or out of range fails its line: the operators read each
        // property as its own type.
        ValidatingSettings checked(settings);
        for (const std::string& file : options.confFiles) {
            Conf::parse(Io::Path(String::fromUtf8(file)), {}, checked);
        }
    } catch (const Exception& error) {
        progress.message("Error: ", error.getMessage());
        return EXIT_FAILED;
    }
    for (const std::string& text : options.properties) {
        const Expected<PropertyAssignment, String> assignment = parsePropertyAssignment(text);
        if (!assignment) {
            progress.message("Error: ", assignment.error());
            return EXIT_USAGE;
        }
        settings.set(assignment->id, assignment->value);
    }
    return EXIT_OK;
}

bool BatchJob::denoise() {
    // As the editor's "Denoise" button: every denoisable element, in the chosen mode or the
    // most advanced one the image has the data for.
    const Array<ElementInfo> elements = graph.denoise.getDenoisableElements({});
    graph.load.setElementFlag(ElementInfo::SELECTED_FOR_DENOISING, elements);
    const auto available = graph.denoise.getAvailableModes();
    if (!options.denoiseMode && available.empty()) {
        progress.message("Error: ", u"The image holds none of the data that any denoising mode needs.");
        return false;
    }
    const DenoisingMode mode =
        options.denoiseMode.value_or(available.empty() ? DenoisingMode::NONE : available[0]);
    settings.set(PropertyId::DENOISE_FILTER_TYPE, std::int32_t(mode));
    return runToEnd(graph.denoise, [this] { graph.denoise.start(); });
}

void BatchJob::listElements() {
    // Listed before the display turns single-channel elements into grey colour, so that the
    // kinds are those of the image.
    const Array<ElementInfo> elements = Pipeline::filterElements(&graph.sharpenBlur, isShown);
    if (!options.json) {
        for (const ElementInfo& element : elements) {
            out << fmt::format("{:<32} {:<12} flags {}\n", elementToChannelName(element.name).toUtf8(),
                               kindName(element.kind), element.flags);
        }
        return;
    }
    out << "[";
    for (std::size_t i = 0; i < elements.size(); ++i) {
        out << fmt::format("{}\n  {{\"name\": {}, \"kind\": \"{}\", \"flags\": {}}}", i ? "," : "",
                           jsonString(elementToChannelName(elements[i].name)), kindName(elements[i].kind),
                           elements[i].flags);
    }
    out << "\n]\n";
}

void BatchJob::printSettings() {
    Io::TextOutputStream stream = Io::TextOutputStream::toMemory();
    Conf::save(settings, stream, Conf::filterOf(PropertyCatalogue::allImageIds()));
    const auto text = stream.memoryContents();
    out << text;
    // What follows on the terminal starts on a line of its own.
    if (!text.empty() && text.back() != '\n') {
        out << '\n';
    }
}

Optional<String> BatchJob::lookUpTableError() {
    // The display goes on without a table it cannot read; a farm has no screen to notice that.
    Optional<String> error;
    const PostProcessData data(SharedPtr<Abstract::Settings>(SharedPtr<Abstract::Settings>(), &settings));
    const ColorMapping mapping(data, [&error](const String& message) { error = message; });
    return error;
}

int BatchJob::save() {
    const Io::Path path(String::fromUtf8(options.output));
    return isVespraExrFileName(path) ? saveVxr(path) : saveImages(path);
}

int BatchJob::saveVxr(const Io::Path& path) {
    if (options.elements.size() > 1) {
        progress.message("Error: ", u"A VXR output holds one element or all of them (-e *).");
        return EXIT_USAGE;
    }
    const String element = options.elements.empty() ? String(u"*") : String::fromUtf8(options.elements[0]);
    return runToEnd(graph.saveVxrCli, [&] { graph.saveVxrCli.setOutput(path, element); }) ? EXIT_OK
                                                                                          : EXIT_FAILED;
}

int BatchJob::saveImages(const Io::Path& path) {
    const ImageFormat format = getImageFormatFromFileName(path);
    if (format == ImageFormat::UNKNOWN) {
        progress.message("Error: ",
                         u"The output \"" + path.nativeStr() +
                             u"\" has no known image format; use an extension such as .png, .jpg, .tif, "
                             u".exr or .vxr.");
        return EXIT_USAGE;
    }
    // A .vxr keeps the settings as they are; a picture would silently lack the grade.
    if (const Optional<String> error = lookUpTableError()) {
        progress.message("Error: ", *error);
        return EXIT_FAILED;
    }
    const std::vector<std::string> requested =
        options.elements.empty() ? std::vector<std::string>{"BEAUTY"} : options.elements;
    const Expected<Array<ElementInfo>, String> elements = resolveElements(requested);
    if (!elements) {
        progress.message("Error: ", elements.error());
        return EXIT_FAILED;
    }
    const bool saved = runToEnd(graph.saveSeparate, [&] {
        graph.saveSeparate.setOutput(*elements, path, format, ImageSaveSettings());
    });
    return saved ? EXIT_OK : EXIT_FAILED;
}

Expected<Array<ElementInfo>, String> BatchJob::resolveElements(ArrayView<const std::string> names) const {
    Stack<ElementInfo> resolved;
    for (const std::string& name : names) {
        if (name == "*") {
            resolved.pushAll(Pipeline::filterElements(&graph.zoom, isShown).view());
            continue;
        }
        const String elementName = channelToElementName(String::fromUtf8(name));
        const Optional<ElementInfo> element = Pipeline::findElement(&graph.zoom, elementName);
        if (!element || !isShown(*element)) {
            return makeUnexpected(u"Render element \"" + String::fromUtf8(name) +
                                  u"\" is not in the image; --list-elements shows those that are.");
        }
        resolved.push(*element);
    }
    return Array<ElementInfo>(std::move(resolved));
}

} // namespace Vespra::Cmd
