#include "foundation/Csv.h"

namespace Vespra {

namespace {

class CsvParser {
public:
    explicit CsvParser(std::string_view text) : text(text) {}

    Stack<Stack<String>> parse() {
        while (position < text.size()) {
            const char c = text[position++];
            if (c == '"') {
                readQuoted();
            } else if (c == ',') {
                endField();
            } else if (c == '\n') {
                endRow();
            } else if (c != '\r' || (position < text.size() && text[position] != '\n')) {
                field += c;
            }
        }
        endRow();
        return std::move(rows);
    }

private:
    void readQuoted() {
        while (position < text.size()) {
            const char c = text[position++];
            if (c != '"') {
                field += c;
            } else if (position < text.size() && text[position] == '"') {
                field += '"';
                ++position;
            } else {
                return;
            }
        }
    }

    void endField() {
        row.push(String::fromUtf8(field));
        field.clear();
    }

    void endRow() {
        endField();
        const bool empty = row.size() == 1 && row[0].isEmpty();
        if (!empty) {
            rows.push(std::move(row));
        }
        row = Stack<String>();
    }

    std::string_view text;
    std::size_t position = 0;
    std::string field;
    Stack<String> row;
    Stack<Stack<String>> rows;
};

} // namespace

Stack<Stack<String>> parseCsv(std::string_view utf8) {
    if (utf8.starts_with("\xEF\xBB\xBF")) {
        utf8.remove_prefix(3);
    }
    return CsvParser(utf8).parse();
}

} // namespace Vespra
