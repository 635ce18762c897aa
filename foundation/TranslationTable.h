#pragma once

#include <cstdint>
#include <shared_mutex>
#include <unordered_map>

#include "foundation/Containers.h"
#include "foundation/String.h"

namespace Vespra {

/// The user interface texts in the chosen language. Resources are UTF-8 comma separated tables
/// (see `parseCsv`): the header row names the languages ("en", then codes such as "de", "ja"),
/// and every other row gives an English text followed by its translations in those columns.
/// Texts without a translation, and every text while the language is English, come back as
/// they are. Reads may run on any thread.
class TranslationTable {
public:
    static TranslationTable& getInstance();

    /// Adds the rows of a table; later rows win over earlier ones of the same English text.
    void registerResource(ArrayView<const std::uint8_t> bytes);
    /// Chooses the column named `code` in the headers; "en" (the default) translates nothing.
    void setLanguage(const String& code);
    String getLanguage() const;

    String getLocalized(const String& text) const;

private:
    using Dictionary = std::unordered_map<String, String>;

    mutable std::shared_mutex mutex;
    std::unordered_map<String, Dictionary> languages;
    String language = u"en";
};

} // namespace Vespra
