#include "support/store.h"

#include <cmath>
#include <stdexcept>

#include "support/files.h"
#include "support/number_text.h"
#include "support/unicode_text.h"

namespace tarn::support {
namespace {

std::optional<StoreValue> decodeValue(const Json& value) {
    switch (value.type()) {
        case Json::value_t::boolean:
            return StoreValue{value.get<bool>()};
        case Json::value_t::number_integer:
            return StoreValue{value.get<std::int64_t>()};
        case Json::value_t::number_unsigned: {
            auto u = value.get<std::uint64_t>();
            if (u <= static_cast<std::uint64_t>(INT64_MAX)) {
                return StoreValue{static_cast<std::int64_t>(u)};
            }
            return StoreValue{static_cast<double>(u)};
        }
        case Json::value_t::number_float: {
            // A number the decoder can hold exactly as an integer is an integer, whatever
            // wrote it ("5.0" reads as 5).
            double d = value.get<double>();
            if (auto whole = exactInt64(d)) return StoreValue{*whole};
            return StoreValue{d};
        }
        case Json::value_t::string:
            return StoreValue{value.get<std::string>()};
        default:
            return std::nullopt;
    }
}

}  // namespace

std::string storeValueText(const StoreValue& value) {
    struct Visitor {
        std::string operator()(bool b) const { return b ? "true" : "false"; }
        std::string operator()(std::int64_t i) const { return std::to_string(i); }
        std::string operator()(double d) const { return doubleText(d); }
        std::string operator()(const std::string& s) const { return s; }
        std::string operator()(Date d) const { return iso8601Text(d); }
    };
    return std::visit(Visitor{}, value);
}

StoreDecoding decodeStore(const Json& document) {
    auto values = document.is_object() ? document.find("values") : document.end();
    if (!document.is_object() || values == document.end() || !values->is_object()) {
        return {std::nullopt, "it holds no \"values\" object"};
    }
    Store store;
    for (auto it = values->begin(); it != values->end(); ++it) {
        auto value = decodeValue(it.value());
        if (!value) {
            return {std::nullopt, "the value of '" + it.key() + "' is of no supported kind (" +
                                      it.value().type_name() + ")"};
        }
        // The writer sorts the names, so they mostly arrive in the map's own order.
        store.values.emplace_hint(store.values.end(), it.key(), std::move(*value));
    }
    std::string others;
    for (auto it = document.begin(); it != document.end(); ++it) {
        if (it.key() != "values") others += (others.empty() ? "'" : ", '") + it.key() + "'";
    }
    if (others.empty()) return {std::move(store), {}};
    return {std::move(store), "it holds more than \"values\": " + others};
}

Json encodeStore(const Store& store) {
    Json values = Json::object();
    values.get_ref<Json::object_t&>().reserve(store.values.size());
    for (const auto& [name, value] : store.values) {
        // The reader takes only UTF-8: a file with other text in it could not be read back.
        if (!isValidUtf8(name)) {
            throw std::domain_error("the name '" + repairUtf8(name) + "' is not valid UTF-8 text");
        }
        // Named capture: clang before 16 cannot capture a structured binding.
        Json json = std::visit(
            [&name = name](const auto& v) -> Json {
                using T = std::decay_t<decltype(v)>;
                if constexpr (std::is_same_v<T, std::string>) {
                    if (!isValidUtf8(v)) {
                        throw std::domain_error("the value of '" + name +
                                                "' is not valid UTF-8 text");
                    }
                    return v;
                } else if constexpr (std::is_same_v<T, Date>) {
                    return iso8601Text(v);
                } else if constexpr (std::is_same_v<T, double>) {
                    if (!std::isfinite(v)) {
                        throw std::domain_error("the value of '" + name +
                                                "' is a number JSON cannot represent");
                    }
                    return v;
                } else {
                    return v;
                }
            },
            value);
        appendMember(values, name, std::move(json));
    }
    Json document = Json::object();
    document["values"] = std::move(values);
    return document;
}

LoadedStore loadStore(const std::filesystem::path& path) {
    LoadedStore loaded;
    auto read = readRegularFile(path);
    if (read.missing) return loaded;
    loaded.state = StoreFileState::unreadable;
    if (!read.bytes) {
        loaded.problem = std::move(read.problem);
        loaded.bytesUnread = true;
        return loaded;
    }
    auto parsed = parseJsonText(*read.bytes);
    if (!parsed.value) {
        loaded.problem = std::move(parsed.problem);
        return loaded;
    }
    auto decoded = decodeStore(*parsed.value);
    loaded.problem = std::move(decoded.problem);
    if (!decoded.store) return loaded;
    loaded.store = std::move(*decoded.store);
    loaded.state = loaded.problem.empty() ? StoreFileState::read : StoreFileState::partlyRead;
    return loaded;
}

namespace {

// The file's text; error says why there is none.
struct StoreText {
    std::string text;
    std::optional<std::string> error;
};

StoreText storeText(const Store& store) {
    try {
        return {writeJson(encodeStore(store), {.pretty = true, .sortKeys = true}), std::nullopt};
    } catch (const std::exception& e) {
        return {{}, e.what()};
    }
}

}  // namespace

std::optional<std::string> saveJSON(const Json& document, const std::filesystem::path& path,
                                    Durability durability) {
    std::string text;
    try {
        text = writeJson(document, {.pretty = true, .sortKeys = true});
    } catch (const std::exception& e) {
        return e.what();
    }
    return writeFileAtomically(path, text, durability);
}

std::optional<std::string> saveJSON(const Store& store, const std::filesystem::path& path,
                                    Durability durability) {
    auto text = storeText(store);
    if (text.error) return text.error;
    return writeFileAtomically(path, text.text, durability);
}

StoreSave saveStoreOver(const Store& store, const LoadedStore& loadedFrom,
                        const std::filesystem::path& path, Durability durability) {
    StoreSave result;
    // Encoded first: a store that cannot be written leaves no copy behind either.
    auto text = storeText(store);
    if (text.error) {
        result.error = std::move(text.error);
        return result;
    }
    if (loadedFrom.state == StoreFileState::unreadable ||
        loadedFrom.state == StoreFileState::partlyRead) {
        auto kept = keepCopyBeforeReplacing(path);
        result.backup = std::move(kept.copy);
        if (!kept.mayReplace) {
            result.refused = true;
            result.error = "it could not be read whole and no copy of it could be made";
            return result;
        }
    }
    result.error = writeFileAtomically(path, text.text, durability);
    return result;
}

}  // namespace tarn::support
