#include "apps/thumbnailer/ThumbnailerTool.h"

#include <ostream>

#include <CLI/CLI.hpp>

#include "apps/thumbnailer/Thumbnail.h"

namespace Vespra::Thumbnailer {

namespace {

constexpr const char* DESCRIPTION =
    "Vespra Image Editor, thumbnailer: writes a PNG thumbnail of a render (.vxr, .vex, .vexr) or an\n"
    "OpenEXR file, for file managers. The thumbnail shows the beauty element with the post-processing\n"
    "settings stored in the file, as the editor shows it, reduced so that its longer side is at most SIZE\n"
    "pixels; smaller images keep their size.\n";

constexpr const char* FOOTER =
    "\nExit status: 0 on success, 1 when the image cannot be read or the thumbnail cannot be written,\n"
    "2 for a usage error.\n";

} // namespace

ParsedCommandLine parseCommandLine(int argc, const char* const* argv) {
    CommandLineOptions options;
    CLI::App app(DESCRIPTION, "vespra-thumbnailer");
    app.footer(FOOTER);
    app.add_option("INPUT", options.input, "the image to show")->required();
    app.add_option("OUTPUT", options.output, "the PNG file to write, whatever its extension")->required();
    app.add_option("SIZE", options.size, "the longer side of the thumbnail in pixels at most")
        ->required()
        ->check(CLI::Range(1, 1 << 16));

    ParsedCommandLine result;
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        result.message = app.help();
        return result;
    } catch (const CLI::ParseError& error) {
        result.exitStatus = EXIT_USAGE;
        result.message = std::string(error.what()) + "\nRun with --help for more information.\n";
        return result;
    }
    result.options = std::move(options);
    return result;
}

int run(int argc, const char* const* argv, std::ostream& out, std::ostream& err) {
    const ParsedCommandLine parsed = parseCommandLine(argc, argv);
    if (!parsed.options) {
        (parsed.exitStatus == EXIT_OK ? out : err) << parsed.message;
        return parsed.exitStatus;
    }
    const Expected<bool, String> written =
        writeThumbnail(Io::Path(String::fromUtf8(parsed.options->input)),
                       Io::Path(String::fromUtf8(parsed.options->output)), parsed.options->size);
    if (!written) {
        err << "Error: " << written.error().toUtf8() << "\n";
        return EXIT_FAILED;
    }
    return EXIT_OK;
}

} // namespace Vespra::Thumbnailer
