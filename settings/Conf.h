#pragma once

#include <cstdint>

#include "foundation/Flags.h"
#include "foundation/Logger.h"
#include "foundation/Optional.h"
#include "foundation/io/Path.h"
#include "foundation/io/TextStreams.h"
#include "settings/PropertyDescriptor.h"
#include "settings/Settings.h"

namespace Vespra {

enum class ConfParserFlag : std::uint32_t {
    /// Create the file with the comment block before reading, when it doesn't exist.
    CREATE_IF_MISSING = 1024,
    /// Report a bad line to the logger and go on with the next one, instead of stopping.
    CONTINUE_ON_ERROR = 1048576,
};
VESPRA_FLAGS_OPERATORS(ConfParserFlag)

using PropertyFilter = Function<bool(std::int32_t id)>;

/// The .conf text format of settings: one "type key = value" line per property.
namespace Conf {

/// The comment block of a file created because it was missing.
extern const char16_t* const AUTO_GENERATED_HEADER;

/// Reads a file into `settings`. A bad line raises `Exception` with the path, the line
/// number and the line, unless `CONTINUE_ON_ERROR` sends it to `logger`. Lines before a bad
/// one stay applied; a bad line applies nothing. Ids for which `filter` is false are skipped.
void parse(const Io::Path& path, Flags<ConfParserFlag> flags, Abstract::Settings& settings,
           Abstract::Logger* logger = nullptr, const PropertyFilter& filter = {});
void parse(Io::TextInputStream& stream, Flags<ConfParserFlag> flags, Abstract::Settings& settings,
           Abstract::Logger* logger = nullptr, const PropertyFilter& filter = {});

/// One line; answers whether it was valid. A failure changes nothing and is swallowed.
bool parseLine(const String& line, Abstract::Settings& settings);

/// Writes every property that `filter` accepts (all, when it is empty), in ascending id order.
Expected<bool, String> save(const Abstract::Settings& settings, const Io::Path& path,
                            const PropertyFilter& filter = {});
void save(const Abstract::Settings& settings, Io::TextOutputStream& stream,
          const PropertyFilter& filter = {});

/// Reads a value of `type` from `text` in the form of a .conf line's value; an enumerated
/// property (one with a serializer) reads the name of its value. Answers the reason of a failure.
Expected<Property, String> parseValue(const PropertyDescriptor& descriptor, PropertyType type, const String& text);

/// A filter accepting exactly `ids`.
PropertyFilter filterOf(ArrayView<const std::int32_t> ids);

/// The default configuration file of the user.
Io::Path getDefaultFileName();

} // namespace Conf
} // namespace Vespra
