#include "core/config/KTJsonReader.h"

#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <locale.h>

namespace quilt {

namespace {

// Bytes that may stand in a string as they are, without a closer look.
struct PlainTable {
    bool plain[256] = {};
    constexpr PlainTable()
    {
        for (int c = 0x20; c < 0x80; ++c)
            plain[c] = c != '"' && c != '\\';
    }
};
constexpr PlainTable kPlain;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

int hexValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

void appendUtf8(std::string& out, uint32_t cp)
{
    if (cp < 0x80) {
        out.push_back(static_cast<char>(cp));
    } else if (cp < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else if (cp < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    }
}

// Floating-point text is read in the C locale whatever the process uses:
// a desktop locale may have a decimal comma.
double readDouble(const char* text)
{
    static locale_t c = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(0));
    return strtod_l(text, nullptr, c);
}

class Reader {
public:
    explicit Reader(std::string_view text)
        : begin_(text.data())
        , p_(text.data())
        , end_(text.data() + text.size())
    {
    }

    bool document(KTJson& out)
    {
        if (end_ - p_ >= 3 && std::memcmp(p_, "\xEF\xBB\xBF", 3) == 0)
            p_ += 3;
        skipSpace();
        if (!value(out, 0))
            return false;
        skipSpace();
        return p_ == end_ || fail("unexpected text after the value");
    }

    std::string error;

private:
    bool fail(const char* what)
    {
        if (error.empty()) {
            size_t line = 1, column = 1;
            for (const char* q = begin_; q < p_ && q < end_; ++q) {
                if (*q == '\n') {
                    ++line;
                    column = 1;
                } else {
                    ++column;
                }
            }
            error = "parse error at line " + std::to_string(line) + ", column " + std::to_string(column) + ": " + what;
        }
        return false;
    }

    void skipSpace()
    {
        while (p_ < end_ && (*p_ == ' ' || *p_ == '\n' || *p_ == '\r' || *p_ == '\t'))
            ++p_;
    }

    bool value(KTJson& out, int depth)
    {
        if (p_ == end_)
            return fail("unexpected end of input");
        switch (*p_) {
        case '{':
            return object(out, depth + 1);
        case '[':
            return array(out, depth + 1);
        case '"':
            out = KTJson::value_t::string;
            return string(out.get_ref<std::string&>());
        case 't':
            out = true;
            return literal("true", 4);
        case 'f':
            out = false;
            return literal("false", 5);
        case 'n':
            out = nullptr;
            return literal("null", 4);
        default:
            if (*p_ == '-' || isDigit(*p_))
                return number(out);
            return fail("unexpected character");
        }
    }

    bool literal(const char* word, size_t n)
    {
        if (static_cast<size_t>(end_ - p_) < n || std::memcmp(p_, word, n) != 0)
            return fail("invalid literal");
        p_ += n;
        return true;
    }

    bool object(KTJson& out, int depth)
    {
        if (depth > KTJsonReader::kMaxDepth)
            return fail("nested too deeply");
        ++p_;
        out = KTJson::value_t::object;
        auto& members = out.get_ref<KTJson::object_t&>();
        // The top-level object of a store may hold 100 000 records. Its keys
        // are const, so each growth of its vector would copy every one of
        // them: count the members first and allocate once. Nested objects
        // are mostly records of two members ("url" and "date").
        members.reserve(depth == 1 ? countMembers() : 2);
        skipSpace();
        if (p_ < end_ && *p_ == '}') {
            ++p_;
            return true;
        }
        for (;;) {
            if (p_ == end_ || *p_ != '"')
                return fail("expected a key");
            key_.clear();
            if (!string(key_))
                return false;
            skipSpace();
            if (p_ == end_ || *p_ != ':')
                return fail("expected ':' after a key");
            ++p_;
            skipSpace();
            // A repeated key keeps its place and takes the later value.
            KTJson& slot = members.emplace(key_, KTJson()).first->second;
            if (!value(slot, depth))
                return false;
            skipSpace();
            if (p_ == end_)
                return fail("unexpected end of input in an object");
            if (*p_ == ',') {
                ++p_;
                skipSpace();
                continue;
            }
            if (*p_ == '}') {
                ++p_;
                // Repeated keys made the count too high: give the rest back.
                if (members.capacity() > 2 * members.size() + 16)
                    members.shrink_to_fit();
                return true;
            }
            return fail("expected ',' or '}'");
        }
    }

    // Members of the object whose "{" was just read, counted by its commas
    // outside nested values and strings; only a hint, so malformed text may
    // miscount.
    size_t countMembers() const
    {
        size_t commas = 0;
        int level = 0;
        bool any = false;
        for (const char* q = p_; q < end_; ++q) {
            switch (*q) {
            case '"':
                for (++q; q < end_ && *q != '"'; ++q)
                    if (*q == '\\')
                        ++q;
                any = true;
                break;
            case '{':
            case '[':
                ++level;
                break;
            case '}':
            case ']':
                if (--level < 0)
                    return any ? commas + 1 : 0;
                break;
            case ',':
                if (level == 0)
                    ++commas;
                break;
            default:
                break;
            }
        }
        return any ? commas + 1 : 0;
    }

    bool array(KTJson& out, int depth)
    {
        if (depth > KTJsonReader::kMaxDepth)
            return fail("nested too deeply");
        ++p_;
        out = KTJson::value_t::array;
        auto& items = out.get_ref<KTJson::array_t&>();
        skipSpace();
        if (p_ < end_ && *p_ == ']') {
            ++p_;
            return true;
        }
        for (;;) {
            items.emplace_back();
            if (!value(items.back(), depth))
                return false;
            skipSpace();
            if (p_ == end_)
                return fail("unexpected end of input in an array");
            if (*p_ == ',') {
                ++p_;
                skipSpace();
                continue;
            }
            if (*p_ == ']') {
                ++p_;
                return true;
            }
            return fail("expected ',' or ']'");
        }
    }

    bool string(std::string& out)
    {
        ++p_; // the opening quote
        const char* run = p_;
        for (;;) {
            while (p_ < end_ && kPlain.plain[static_cast<unsigned char>(*p_)])
                ++p_;
            if (p_ == end_)
                return fail("unterminated string");
            const auto c = static_cast<unsigned char>(*p_);
            if (c == '"') {
                out.append(run, static_cast<size_t>(p_ - run));
                ++p_;
                return true;
            }
            if (c == '\\') {
                out.append(run, static_cast<size_t>(p_ - run));
                if (!escape(out))
                    return false;
                run = p_;
            } else if (c < 0x20) {
                return fail("control character in a string");
            } else if (!utf8Sequence()) {
                return fail("invalid UTF-8 in a string");
            }
        }
    }

    // One multi-byte UTF-8 sequence at p_, by the ranges of RFC 3629 (no
    // overlong forms, no surrogates, nothing above U+10FFFF).
    bool utf8Sequence()
    {
        const auto* s = reinterpret_cast<const unsigned char*>(p_);
        const size_t left = static_cast<size_t>(end_ - p_);
        auto in = [&](size_t i, unsigned lo, unsigned hi) { return i < left && s[i] >= lo && s[i] <= hi; };
        size_t n;
        const unsigned c = s[0];
        if (c >= 0xC2 && c <= 0xDF)
            n = in(1, 0x80, 0xBF) ? 2 : 0;
        else if (c == 0xE0)
            n = in(1, 0xA0, 0xBF) && in(2, 0x80, 0xBF) ? 3 : 0;
        else if ((c >= 0xE1 && c <= 0xEC) || c == 0xEE || c == 0xEF)
            n = in(1, 0x80, 0xBF) && in(2, 0x80, 0xBF) ? 3 : 0;
        else if (c == 0xED)
            n = in(1, 0x80, 0x9F) && in(2, 0x80, 0xBF) ? 3 : 0;
        else if (c == 0xF0)
            n = in(1, 0x90, 0xBF) && in(2, 0x80, 0xBF) && in(3, 0x80, 0xBF) ? 4 : 0;
        else if (c >= 0xF1 && c <= 0xF3)
            n = in(1, 0x80, 0xBF) && in(2, 0x80, 0xBF) && in(3, 0x80, 0xBF) ? 4 : 0;
        else if (c == 0xF4)
            n = in(1, 0x80, 0x8F) && in(2, 0x80, 0xBF) && in(3, 0x80, 0xBF) ? 4 : 0;
        else
            n = 0;
        p_ += n;
        return n != 0;
    }

    bool hex4(uint32_t& cp)
    {
        if (end_ - p_ < 4)
            return fail("incomplete \\u escape");
        cp = 0;
        for (int i = 0; i < 4; ++i) {
            int h = hexValue(p_[i]);
            if (h < 0)
                return fail("invalid \\u escape");
            cp = (cp << 4) | static_cast<uint32_t>(h);
        }
        p_ += 4;
        return true;
    }

    bool escape(std::string& out)
    {
        ++p_; // the backslash
        if (p_ == end_)
            return fail("unterminated string");
        const char c = *p_++;
        switch (c) {
        case '"': out.push_back('"'); return true;
        case '\\': out.push_back('\\'); return true;
        case '/': out.push_back('/'); return true;
        case 'b': out.push_back('\b'); return true;
        case 'f': out.push_back('\f'); return true;
        case 'n': out.push_back('\n'); return true;
        case 'r': out.push_back('\r'); return true;
        case 't': out.push_back('\t'); return true;
        case 'u': break;
        default: return fail("invalid escape");
        }
        uint32_t cp = 0;
        if (!hex4(cp))
            return false;
        if (cp >= 0xDC00 && cp <= 0xDFFF)
            return fail("low surrogate without a high one");
        if (cp >= 0xD800 && cp <= 0xDBFF) {
            uint32_t low = 0;
            if (end_ - p_ < 2 || p_[0] != '\\' || p_[1] != 'u')
                return fail("high surrogate without a low one");
            p_ += 2;
            if (!hex4(low))
                return false;
            if (low < 0xDC00 || low > 0xDFFF)
                return fail("high surrogate without a low one");
            cp = 0x10000 + ((cp - 0xD800) << 10) + (low - 0xDC00);
        }
        appendUtf8(out, cp);
        return true;
    }

    bool number(KTJson& out)
    {
        const char* start = p_;
        const bool negative = *p_ == '-';
        if (negative)
            ++p_;
        if (p_ == end_)
            return fail("invalid number");
        if (*p_ == '0') {
            ++p_;
        } else if (isDigit(*p_)) {
            while (p_ < end_ && isDigit(*p_))
                ++p_;
        } else {
            return fail("invalid number");
        }
        bool integral = true;
        if (p_ < end_ && *p_ == '.') {
            integral = false;
            ++p_;
            if (p_ == end_ || !isDigit(*p_))
                return fail("invalid number");
            while (p_ < end_ && isDigit(*p_))
                ++p_;
        }
        if (p_ < end_ && (*p_ == 'e' || *p_ == 'E')) {
            integral = false;
            ++p_;
            if (p_ < end_ && (*p_ == '+' || *p_ == '-'))
                ++p_;
            if (p_ == end_ || !isDigit(*p_))
                return fail("invalid number");
            while (p_ < end_ && isDigit(*p_))
                ++p_;
        }
        if (integral) {
            // Like nlohmann: negative integers are signed, others unsigned,
            // and either falls back to double when it does not fit.
            if (negative) {
                int64_t v;
                auto [ptr, ec] = std::from_chars(start, p_, v);
                if (ec == std::errc() && ptr == p_) {
                    out = v;
                    return true;
                }
            } else {
                uint64_t v;
                auto [ptr, ec] = std::from_chars(start, p_, v);
                if (ec == std::errc() && ptr == p_) {
                    out = v;
                    return true;
                }
            }
        }
        const std::string text(start, p_);
        const double d = readDouble(text.c_str());
        if (!std::isfinite(d)) {
            p_ = start;
            return fail("number overflow");
        }
        out = d;
        return true;
    }

    const char* begin_;
    const char* p_;
    const char* end_;
    std::string key_;
};

} // namespace

std::optional<KTJson> KTJsonReader::parse(std::string_view text, std::string* error)
{
    Reader reader(text);
    KTJson value;
    if (!reader.document(value)) {
        if (error)
            *error = reader.error;
        return std::nullopt;
    }
    return value;
}

} // namespace quilt
