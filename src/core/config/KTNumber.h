#pragma once

#include <locale.h>

#include <optional>
#include <string>
#include <string_view>

namespace quilt {

// Numbers as files hold them: always with a dot, whatever the user's
// language. The C library's printf and strtod follow LC_NUMERIC, which GTK
// sets from the environment, so under de_DE they would write and expect
// "0,5" and every file would read differently on another desktop.
class KTNumber {
public:
    // Shortest text that reads back as the same double ("0.5", "1e+300");
    // with decimals >= 0, fixed notation with that many ("0.500000").
    // Not finite: "0".
    static std::string format(double value, int decimals = -1);
    // The leading number of text as strtod reads it in the C locale
    // (leading blanks, sign, exponent); nullopt when none. `used`, when
    // given, receives how many bytes were read.
    static std::optional<double> parse(std::string_view text, size_t* used = nullptr);
};

// Runs a C library that formats or parses numbers itself (libplist) in the
// C locale's number format on this thread, then restores the thread's locale.
class KTCNumericScope {
public:
    KTCNumericScope();
    ~KTCNumericScope();
    KTCNumericScope(const KTCNumericScope&) = delete;
    KTCNumericScope& operator=(const KTCNumericScope&) = delete;

private:
    locale_t previous_ = nullptr;
};

} // namespace quilt
