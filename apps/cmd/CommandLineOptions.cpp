#include "apps/cmd/CommandLineOptions.h"

#include <charconv>

#include <CLI/CLI.hpp>

#include "misc/adaptivitydenoising/DenoisingTypes.h"
#include "settings/Conf.h"
#include "settings/Settings.h"

namespace Vespra::Cmd {

namespace {

constexpr const char* DESCRIPTION =
    "Vespra Image Editor, batch tool: loads a render (or merges the partial renders of several render\n"
    "nodes), applies post-processing settings and saves the result.\n";

constexpr const char* MERGE_HELP =
    "\nMerging: with several INPUT files, the images are merged into their weighted mean, pixel by pixel.\n"
    "Each input's weight is either a constant number (-w 1) or the name of a channel of that image holding\n"
    "a weight per pixel, written with a leading per-cent sign (-w %VESPRA_FB_WEIGHTS). Render nodes store\n"
    "the number of passes of each pixel in the channel VESPRA_FB_WEIGHTS, which is the default weight.\n"
    "Give no -w to use the default for all inputs, one -w to use it for all inputs, or one -w per input,\n"
    "in the order of the inputs. If the weight channel has another name, name it with %NAME; if an image\n"
    "has no weight channel, give a constant weight.\n"
    "\nDenoising: --denoise filters the denoisable elements before anything is listed or saved. MODE is\n"
    "\"Full\", \"Fireflies\" or \"NVIDIA AI denoiser\"; without it the most advanced mode that the image\n"
    "has the data for is used. A bare --denoise takes the next word as MODE unless it is an option, so\n"
    "write --denoise=MODE, or put a bare --denoise last or before another option. A saved picture shows\n"
    "the denoised pixels mixed by denoise.blendAmount; a .vxr output keeps them as \"Denoised\" elements.\n"
    "\nExit status: 0 on success, 1 when processing fails, 2 for a usage error.\n";

} // namespace

Expected<Pipeline::MergeWeight, String> parseWeight(const std::string& text) {
    if (text.size() > 1 && text[0] == '%') {
        return Pipeline::MergeWeight(String::fromUtf8(text.substr(1)));
    }
    float value = 0.f;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || !(value >= 0.f)) {
        return makeUnexpected(String::fromUtf8(
            "Invalid weight \"" + text + "\": expected a non-negative number or %NAME of a weight channel."));
    }
    return Pipeline::MergeWeight(value);
}

Expected<DenoisingMode, String> parseDenoisingMode(const std::string& text) {
    const auto mode =
        Detail::stringToValue(String::fromUtf8(text), EnumTable<DenoisingMode>(DENOISING_MODE_NAMES));
    if (mode != DenoisingMode(-1) && getDenoisingModeFlags(mode).has(DenoisingFlags::DENOISING_FILTERS)) {
        return mode;
    }
    std::string names;
    for (const auto& row : DENOISING_MODE_NAMES) {
        if (getDenoisingModeFlags(row.value).has(DenoisingFlags::DENOISING_FILTERS)) {
            names += (names.empty() ? "\"" : ", \"") + String(row.name).toUtf8() + "\"";
        }
    }
    return makeUnexpected(
        String::fromUtf8("Invalid denoising mode \"" + text + "\": expected one of " + names + "."));
}

Expected<PropertyAssignment, String> parsePropertyAssignment(const std::string& text) {
    const auto equals = text.find('=');
    const String key = String::fromUtf8(text.substr(0, equals));
    const PropertyDescriptor* row = equals == std::string::npos ? nullptr : PropertyDescriptor::find(key);
    if (!row) {
        return makeUnexpected(u"Unknown property \"" + key +
                              u"\"; expected KEY=VALUE with a key such as colorMap.simpleExposure.");
    }
    const std::string valueText = text.substr(equals + 1);
    // The settings are printed and saved as .conf lines, which a line break would split.
    if (valueText.find_first_of("\r\n") != std::string::npos) {
        return makeUnexpected(u"Property " + key +
                              u": a value in the .conf form is one line; this one holds a line break.");
    }
    Expected<Property, String> value = Conf::parseValue(*row, row->type, String::fromUtf8(valueText));
    if (!value) {
        return makeUnexpected(u"Property " + key + u": " + value.error() + u".");
    }
    if (Optional<String> invalid = Settings::validationMessage(row->id, *value)) {
        return makeUnexpected(std::move(*invalid));
    }
    return PropertyAssignment{row->id, std::move(*value)};
}

ParsedCommandLine parseCommandLine(int argc, const char* const* argv) {
    CommandLineOptions options;
    std::vector<std::string> weights;
    CLI::App app(DESCRIPTION, "vespra-image-cmd");
    app.footer(MERGE_HELP);
    app.add_option("INPUT", options.inputs, "one image to load, or several to merge")->required();
    app.add_option("-w,--weight", weights,
                   "a number (constant weight) or %NAME (weight channel), repeatable");
    app.add_option("-c,--conf", options.confFiles, "apply a .conf file after loading (repeatable, in order)");
    app.add_option(
        "-p,--property", options.properties,
        "set one property, K=V with V in the .conf value syntax of its type (repeatable, after --conf)");
    std::string denoiseMode;
    const CLI::Option* denoise =
        app.add_option("--denoise", denoiseMode,
                       "run the denoise operator on the denoisable elements; MODE as in .conf (\"Full\", "
                       "\"Fireflies\", ...), default: the most advanced mode the image allows")
            ->expected(0, 1)
            ->type_name("[MODE]");
    app.add_option(
        "-e,--element", options.elements,
        "element to write (repeatable): BEAUTY, Alpha, an element name, or * for all displayable ones");
    app.add_option(
        "-o,--output", options.output,
        ".vxr/.vex/.vexr: the whole image with settings (one element or *); any other extension: the "
        "shown (post-processed) pixels");
    app.add_flag("--list-elements", options.listElements, "print the element list");
    app.add_flag("--json", options.json, "with --list-elements: machine-readable output");
    app.add_flag("--print-settings", options.printSettings, "print the effective post-processing settings");
    app.add_option("--threads", options.threads, "worker threads (default: all logical processors)")
        ->check(CLI::NonNegativeNumber);
    app.add_flag("-q,--quiet", options.quiet, "no progress output");

    ParsedCommandLine result;
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        result.message = app.help();
        return result;
    } catch (const CLI::ParseError& error) {
        result.exitStatus = 2;
        result.message = std::string(error.what()) + "\nRun with --help for more information.\n";
        return result;
    }
    for (const std::string& text : weights) {
        auto weight = parseWeight(text);
        if (!weight) {
            result.exitStatus = 2;
            result.message = weight.error().toUtf8() + "\n";
            return result;
        }
        options.weights.push(*weight);
    }
    options.denoise = denoise->count() > 0;
    if (!denoiseMode.empty()) {
        const Expected<DenoisingMode, String> mode = parseDenoisingMode(denoiseMode);
        if (!mode) {
            result.exitStatus = 2;
            result.message = mode.error().toUtf8() + "\n";
            return result;
        }
        options.denoiseMode = *mode;
    }
    result.options = std::move(options);
    return result;
}

} // namespace Vespra::Cmd
