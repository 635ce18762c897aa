#pragma once

#include <future>
#include <iosfwd>

#include "apps/cmd/CommandLineOptions.h"
#include "apps/cmd/ProgressPrinter.h"
#include "base/pipeline/OperatorGraph.h"
#include "settings/Settings.h"

namespace Vespra::Cmd {

/// Exit statuses of the tool.
inline constexpr int EXIT_OK = 0;
inline constexpr int EXIT_FAILED = 1;
inline constexpr int EXIT_USAGE = 2;

/// One run of the command-line tool on the operator graph: load or merge, apply settings,
/// denoise, report, save. The operators' own messages are what the user reads.
class BatchJob {
public:
    BatchJob(CommandLineOptions options, std::ostream& out);
    int run();

private:
    /// Runs one asynchronous operator to its end: `start` starts it, its callbacks report.
    /// Answers whether it finished without an error.
    template <class Operator, class Start>
    bool runToEnd(Operator& op, Start start);

    bool load();
    int applySettings();
    bool denoise();
    void listElements();
    void printSettings();
    /// The message of a look-up table that is switched on but cannot be read, if any.
    Optional<String> lookUpTableError();
    int save();
    int saveVxr(const Io::Path& path);
    int saveImages(const Io::Path& path);
    Expected<Array<ElementInfo>, String> resolveElements(ArrayView<const std::string> names) const;

    CommandLineOptions options;
    std::ostream& out;
    ProgressPrinter progress;
    Settings settings;
    Pipeline::OperatorGraph graph;
};

} // namespace Vespra::Cmd
