#include "foundation/TranslationTable.h"

#include <mutex>

#include "foundation/Csv.h"

namespace Vespra {

TranslationTable& TranslationTable::getInstance() {
    static TranslationTable instance;
    return instance;
}

void TranslationTable::registerResource(ArrayView<const std::uint8_t> bytes) {
    const Stack<Stack<String>> rows =
        parseCsv(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
    if (rows.empty()) {
        return;
    }
    const Stack<String>& header = rows[0];
    std::unique_lock lock(mutex);
    for (std::size_t r = 1; r < rows.size(); ++r) {
        const Stack<String>& row = rows[r];
        for (std::size_t column = 1; column < std::min(row.size(), header.size()); ++column) {
            if (!row[column].isEmpty()) {
                languages[header[column].trim()][row[0]] = row[column];
            }
        }
    }
}

void TranslationTable::setLanguage(const String& code) {
    std::unique_lock lock(mutex);
    language = code;
}

String TranslationTable::getLanguage() const {
    std::shared_lock lock(mutex);
    return language;
}

String TranslationTable::getLocalized(const String& text) const {
    std::shared_lock lock(mutex);
    const auto dictionary = languages.find(language);
    if (dictionary == languages.end()) {
        return text;
    }
    const auto translation = dictionary->second.find(text);
    return translation == dictionary->second.end() ? text : translation->second;
}

} // namespace Vespra
