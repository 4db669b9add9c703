#include "support/json_text.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <stdexcept>
#include <vector>

#include "support/number_text.h"
#include "support/unicode_text.h"

namespace tarn::support {
namespace {

void writeString(std::string& out, const std::string& text) {
    // The reader refuses such text, and a file it cannot read loses everything in it.
    if (!isValidUtf8(text)) throw std::domain_error("text that is not valid UTF-8");
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

    // A container at this depth (0 for the top level) nests depth + 1 levels deep.
    static void checkDepth(int depth) {
        if (depth >= kMaxJsonDepth) {
            throw std::domain_error("a value nested more than " + std::to_string(kMaxJsonDepth) +
                                    " levels deep");
        }
    }

    void writeArray(const Json& value, int depth) {
        checkDepth(depth);
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
        checkDepth(depth);
        // Members by pointer, so sorting and writing never look a name up again: an ordered
        // object finds a name by scanning, which would make a large object quadratic.
        std::vector<const Json::object_t::value_type*> members;
        members.reserve(value.size());
        for (const auto& member : value.get_ref<const Json::object_t&>())
            members.push_back(&member);
        if (style_.sortKeys) {
            std::stable_sort(members.begin(), members.end(),
                             [](auto* a, auto* b) { return a->first < b->first; });
        }
        if (members.empty()) return empty("{}", depth);
        open('{', depth);
        bool first = true;
        for (const auto* member : members) {
            if (!first) separator(depth);
            first = false;
            writeString(out, member->first);
            out += style_.pretty ? " : " : ":";
            write(member->second, depth + 1);
        }
        close('}', depth);
    }

    JsonStyle style_;
};

// Builds what the library's own parser builds, in time linear in the text: the library
// files each member by looking its name up in an ordered object, a scan per member. Here
// members are appended, and repeated names are merged once the object is complete.
class Builder final : public nlohmann::json_sax<Json> {
  public:
    explicit Builder(Json& root) : root_(root) {}

    bool null() override { return add(nullptr); }
    bool boolean(bool value) override { return add(value); }
    bool number_integer(number_integer_t value) override { return add(value); }
    bool number_unsigned(number_unsigned_t value) override { return add(value); }
    bool number_float(number_float_t value, const string_t&) override { return add(value); }
    bool string(string_t& value) override { return add(std::move(value)); }
    bool binary(binary_t&) override { return false; }
    bool start_object(std::size_t) override { return open(Json::object()); }
    bool start_array(std::size_t) override { return open(Json::array()); }
    bool key(string_t& name) override {
        Json::object_t::Container& members = open_.back()->get_ref<Json::object_t&>();
        members.emplace_back(std::move(name), nullptr);
        member_ = &members.back().second;
        return true;
    }
    bool end_object() override {
        mergeRepeatedNames(open_.back()->get_ref<Json::object_t&>());
        open_.pop_back();
        return true;
    }
    bool end_array() override {
        open_.pop_back();
        return true;
    }
    bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override {
        return false;
    }

    // The reader stopped at a container nested deeper than kMaxJsonDepth.
    bool tooDeep() const { return tooDeep_; }

  private:
    // Where a value goes: the root, the end of the open array, or the member just named.
    // Only the innermost open container grows, so pointers to the outer ones stay valid.
    Json* place(Json value) {
        if (open_.empty()) {
            root_ = std::move(value);
            return &root_;
        }
        if (open_.back()->is_array()) {
            auto& elements = open_.back()->get_ref<Json::array_t&>();
            elements.push_back(std::move(value));
            return &elements.back();
        }
        *member_ = std::move(value);
        return member_;
    }

    bool add(Json value) {
        place(std::move(value));
        return true;
    }

    // The library's parser keeps its own stack on the heap; the limit keeps everything that
    // later walks the value recursively (copies, comparisons, the decoders) within bounds.
    bool open(Json container) {
        if (open_.size() >= static_cast<std::size_t>(kMaxJsonDepth)) {
            tooDeep_ = true;
            return false;
        }
        open_.push_back(place(std::move(container)));
        return true;
    }

    // As the library does: a repeated name keeps its first place and takes its last value.
    static void mergeRepeatedNames(Json::object_t::Container& members) {
        if (members.size() < 2) return;
        std::vector<std::size_t> order(members.size());
        for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
        std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
            return members[a].first < members[b].first;
        });
        std::vector<bool> repeat(members.size(), false);
        bool any = false;
        for (std::size_t run = 0; run < order.size();) {
            std::size_t end = run + 1;
            while (end < order.size() && members[order[end]].first == members[order[run]].first) {
                repeat[order[end++]] = true;
            }
            if (end - run > 1) {
                members[order[run]].second = std::move(members[order[end - 1]].second);
                any = true;
            }
            run = end;
        }
        if (!any) return;
        Json::object_t::Container kept;
        for (std::size_t i = 0; i < members.size(); ++i) {
            if (!repeat[i]) kept.emplace_back(members[i].first, std::move(members[i].second));
        }
        members.swap(kept);
    }

    Json& root_;
    std::vector<Json*> open_;
    Json* member_ = nullptr;
    bool tooDeep_ = false;
};

}  // namespace

std::string writeJson(const Json& value, JsonStyle style) {
    Writer writer(style);
    writer.write(value, 0);
    return std::move(writer.out);
}

JsonParse parseJsonText(std::string_view text) {
    Json value;
    Builder builder(value);
    if (Json::sax_parse(text.begin(), text.end(), &builder)) return {std::move(value), {}};
    if (builder.tooDeep()) {
        return {std::nullopt,
                "it is nested more than " + std::to_string(kMaxJsonDepth) + " levels deep"};
    }
    return {std::nullopt, "it is not JSON"};
}

std::optional<Json> parseJson(std::string_view text) {
    return parseJsonText(text).value;
}

void appendMember(Json& object, std::string name, Json value) {
    Json::object_t::Container& members = object.get_ref<Json::object_t&>();
    members.emplace_back(std::move(name), std::move(value));
}

}  // namespace tarn::support
