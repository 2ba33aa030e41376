#pragma once

#include <glib.h>

#include <optional>
#include <string>

namespace quilt {

// Reads the fields of one record sent as an a{sv} dictionary, whoever sent
// it. A missing key is an absent field (nullopt); a value of another type, a
// string longer than kMaxStringBytes, or something that is not an a{sv} at
// all marks the whole record refused, as a strict decoder refuses a record
// of the wrong class. Unknown keys are ignored. Never crashes on untrusted
// data: GVariant's accessors give defaults for malformed serialised input.
class KTVariantReader {
public:
    static constexpr size_t kMaxStringBytes = 64 * 1024;

    // `record` is not taken over and may be null.
    explicit KTVariantReader(GVariant* record);

    std::optional<std::string> string(const char* key);
    // The value of `key` when it has exactly `type` (a new reference, or
    // null when the key is missing or refused).
    GVariant* value(const char* key, const GVariantType* type);

    bool refused() const { return refused_; }
    // The writing side's counterpart: a new floating string variant of
    // `text`, cut at a NUL byte and made valid UTF-8 (bad bytes become
    // U+FFFD), since a D-Bus string may hold neither.
    static GVariant* newString(const std::string& text);
    // Adds `key` with newString(*value) to an a{sv} being built; an absent
    // field (nullopt) is left out.
    static void addString(GVariantBuilder* record, const char* key, const std::optional<std::string>& value);
    void refuse() { refused_ = true; }

private:
    GVariant* record_;
    bool refused_ = false;
};

} // namespace quilt
