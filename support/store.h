#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <variant>

#include "support/files.h"
#include "support/json_text.h"
#include "support/time_text.h"

namespace tarn::support {

// One typed setting. The alternatives are in decoding order: a JSON value is read as the
// first of bool, int, double, string that fits (so a date written to a file reads back as
// a string, and a whole double as an int).
using StoreValue = std::variant<bool, std::int64_t, double, std::string, Date>;

// The store document: {"values": {name: value}}. Used by the settings file and the window
// state file.
struct Store {
    std::map<std::string, StoreValue> values;
    friend bool operator==(const Store&, const Store&) = default;
};

// Text of a value when listed or read: true/false, 17, 2.5 or 3.0, the string itself, or
// the ISO 8601 date.
std::string storeValueText(const StoreValue& value);

struct StoreDecoding {
    // Absent when the document is not {"values": {...}} or a value is of no supported kind
    // (null, array, object).
    std::optional<Store> store;
    // Why there is no store, or what of the document the store leaves out (members other
    // than "values"); empty when the document is a store and nothing more.
    std::string problem;
};
StoreDecoding decodeStore(const Json& document);
// Throws std::domain_error for a double JSON cannot hold.
Json encodeStore(const Store& store);

enum class StoreFileState {
    read,        // the file was read whole
    missing,     // there was no file
    partlyRead,  // its values were read, but it holds more than a rewrite keeps
    unreadable,  // a file was there but could not be read or decoded
};

struct LoadedStore {
    Store store;
    StoreFileState state = StoreFileState::missing;
    std::string problem;  // partlyRead or unreadable: why, in words ("it is not JSON")
    // Unreadable because its bytes could not even be read (no permission, not a regular
    // file), rather than read and not understood.
    bool bytesUnread = false;
};

// Reads the document (readRegularFile, parseJsonText); a missing or bad file gives an empty
// store (and says which and why).
LoadedStore loadStore(const std::filesystem::path& path);

// Pretty-printed, keys sorted, dates as ISO 8601, written atomically. Returns the reason on
// failure (a value JSON cannot hold, a name or text that is not UTF-8, an unwritable
// directory, a full disk); the old file is then untouched.
std::optional<std::string> saveJSON(const Json& document, const std::filesystem::path& path,
                                    Durability durability = Durability::whole);
std::optional<std::string> saveJSON(const Store& store, const std::filesystem::path& path,
                                    Durability durability = Durability::whole);

struct StoreSave {
    std::optional<std::string> error;
    std::optional<std::filesystem::path> backup;  // where an unreadable original was kept
    // The file was not read whole and no copy of it could be made, so it was left alone;
    // error then says so ("it could not be read whole and no copy of it could be made").
    bool refused = false;
};

// Saves a store that was loaded from this path. When the file was there but not read whole
// (unreadable, or holding more than its values), its bytes are first copied aside, and when
// that cannot be done it is not replaced (keepCopyBeforeReplacing), so a rewrite never
// destroys what the user had.
StoreSave saveStoreOver(const Store& store, const LoadedStore& loadedFrom,
                        const std::filesystem::path& path,
                        Durability durability = Durability::whole);

}  // namespace tarn::support
