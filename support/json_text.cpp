#include "support/json_text.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <stdexcept>
#include <vector>

#include "support/number_text.h"

namespace tarn::support {
namespace {

void writeString(std::string& out, const std::string& text) {
    out += '"';
    for (unsigned char c : text) {
        switch (c) {
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            case '/':
                out += "\\/";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case '\t':
                out += "\\t";
                break;
            case '\b':
                out += "\\b";
                break;
            case '\f':
                out += "\\f";
                break;
            default:
                if (c < 0x20) {
                    char buffer[8];
                    std::snprintf(buffer, sizeof buffer, "\\u%04x", c);
                    out += buffer;
                } else {
                    out += static_cast<char>(c);
                }
        }
    }
    out += '"';
}

class Writer {
  public:
    explicit Writer(JsonStyle style) : style_(style) {}

    void write(const Json& value, int depth) {
        switch (value.type()) {
            case Json::value_t::null:
                out += "null";
                break;
            case Json::value_t::boolean:
                out += value.get<bool>() ? "true" : "false";
                break;
            case Json::value_t::number_integer:
                out += std::to_string(value.get<std::int64_t>());
                break;
            case Json::value_t::number_unsigned:
                out += std::to_string(value.get<std::uint64_t>());
                break;
            case Json::value_t::number_float: {
                double d = value.get<double>();
                if (!std::isfinite(d))
                    throw std::domain_error("a number JSON cannot represent (" + doubleText(d) +
                                            ")");
                out += jsonDoubleText(d);
                break;
            }
            case Json::value_t::string:
                writeString(out, value.get_ref<const std::string&>());
                break;
            case Json::value_t::array:
                writeArray(value, depth);
                break;
            case Json::value_t::object:
                writeObject(value, depth);
                break;
            case Json::value_t::binary:
            case Json::value_t::discarded:
                throw std::domain_error("a value JSON cannot represent");
        }
    }

    std::string out;

  private:
    void newline(int depth) {
        out += '\n';
        out.append(static_cast<std::size_t>(depth) * 2, ' ');
    }

    void open(char bracket, int depth) {
        out += bracket;
        if (style_.pretty) newline(depth + 1);
    }

    void close(char bracket, int depth) {
        if (style_.pretty) newline(depth);
        out += bracket;
    }

    // Empty containers: "[]" compact, "[\n\n]" (closing bracket indented) pretty.
    void empty(const char* brackets, int depth) {
        out += brackets[0];
        if (style_.pretty) {
            out += '\n';
            newline(depth);
        }
        out += brackets[1];
    }

    void separator(int depth) {
        out += ',';
        if (style_.pretty) newline(depth + 1);
    }

    void writeArray(const Json& value, int depth) {
        if (value.empty()) return empty("[]", depth);
        open('[', depth);
        bool first = true;
        for (const auto& element : value) {
            if (!first) separator(depth);
            first = false;
            write(element, depth + 1);
        }
        close(']', depth);
    }

    void writeObject(const Json& value, int depth) {
        std::vector<const std::string*> keys;
        for (auto it = value.begin(); it != value.end(); ++it) keys.push_back(&it.key());
        if (style_.sortKeys) {
            std::stable_sort(keys.begin(), keys.end(), [](auto* a, auto* b) { return *a < *b; });
        }
        if (keys.empty()) return empty("{}", depth);
        open('{', depth);
        bool first = true;
        for (const std::string* key : keys) {
            if (!first) separator(depth);
            first = false;
            writeString(out, *key);
            out += style_.pretty ? " : " : ":";
            write(value.at(*key), depth + 1);
        }
        close('}', depth);
    }

    JsonStyle style_;
};

}  // namespace

std::string writeJson(const Json& value, JsonStyle style) {
    Writer writer(style);
    writer.write(value, 0);
    return std::move(writer.out);
}

std::optional<Json> parseJson(std::string_view text) {
    Json value = Json::parse(text.begin(), text.end(), nullptr, /*allow_exceptions=*/false);
    if (value.is_discarded()) return std::nullopt;
    return value;
}

}  // namespace tarn::support
