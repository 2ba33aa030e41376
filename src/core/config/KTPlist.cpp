#include "core/config/KTPlist.h"

#include "core/config/KTFileUtil.h"
#include "core/config/KTNumber.h"

#include <cstdlib>
#include <cstring>
#include <limits>
#include <plist/plist.h>

namespace quilt {

namespace {

struct PlistHolder {
    plist_t node = nullptr;
    ~PlistHolder()
    {
        if (node)
            plist_free(node);
    }
};

KTJson fromNode(plist_t node, int depth)
{
    if (!node || depth > 64)
        return nullptr;
    switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
        uint8_t b = 0;
        plist_get_bool_val(node, &b);
        return b != 0;
    }
    case PLIST_UINT: {
        uint64_t u = 0;
        plist_get_uint_val(node, &u);
        // Negative integers arrive as their two's complement.
        if (u > static_cast<uint64_t>(std::numeric_limits<int64_t>::max()))
            return static_cast<int64_t>(u);
        return static_cast<int64_t>(u);
    }
    case PLIST_REAL: {
        double d = 0;
        plist_get_real_val(node, &d);
        return d;
    }
    case PLIST_STRING: {
        // plist_get_string_val asserts (and aborts the app) when a string
        // holds a NUL byte. libplist keeps only the text before it anyway.
        uint64_t length = 0;
        const char* s = plist_get_string_ptr(node, &length);
        return s ? std::string(s, ::strnlen(s, length)) : std::string();
    }
    case PLIST_KEY: {
        char* s = nullptr;
        plist_get_key_val(node, &s);
        KTJson v = s ? std::string(s) : std::string();
        std::free(s);
        return v;
    }
    case PLIST_DATA: {
        char* d = nullptr;
        uint64_t len = 0;
        plist_get_data_val(node, &d, &len);
        KTJson v = std::string(d ? d : "", d ? len : 0);
        std::free(d);
        return v;
    }
    case PLIST_DATE: {
        int32_t sec = 0, usec = 0;
        plist_get_date_val(node, &sec, &usec);
        return sec + usec / 1e6;
    }
    case PLIST_ARRAY: {
        KTJson arr = KTJson::array();
        uint32_t n = plist_array_get_size(node);
        for (uint32_t i = 0; i < n; ++i)
            arr.push_back(fromNode(plist_array_get_item(node, i), depth + 1));
        return arr;
    }
    case PLIST_DICT: {
        KTJson obj = KTJson::object();
        plist_dict_iter it = nullptr;
        plist_dict_new_iter(node, &it);
        if (!it)
            return obj;
        for (;;) {
            char* key = nullptr;
            plist_t val = nullptr;
            plist_dict_next_item(node, it, &key, &val);
            if (!val) {
                std::free(key);
                break;
            }
            obj[std::string(key ? key : "")] = fromNode(val, depth + 1);
            std::free(key);
        }
        std::free(it);
        return obj;
    }
    default:
        return nullptr;
    }
}

plist_t toNode(const KTJson& v)
{
    switch (v.type()) {
    case KTJson::value_t::boolean:
        return plist_new_bool(v.get<bool>() ? 1 : 0);
    case KTJson::value_t::number_integer:
        return plist_new_uint(static_cast<uint64_t>(v.get<int64_t>()));
    case KTJson::value_t::number_unsigned:
        return plist_new_uint(v.get<uint64_t>());
    case KTJson::value_t::number_float:
        return plist_new_real(v.get<double>());
    case KTJson::value_t::string: {
        // A string cannot hold a NUL byte in a property list: such text
        // (read from a data element) is written back as data, whole.
        const std::string& s = v.get_ref<const std::string&>();
        if (s.find('\0') != std::string::npos)
            return plist_new_data(s.data(), s.size());
        return plist_new_string(s.c_str());
    }
    case KTJson::value_t::array: {
        plist_t arr = plist_new_array();
        for (const auto& item : v)
            if (plist_t n = toNode(item))
                plist_array_append_item(arr, n);
        return arr;
    }
    case KTJson::value_t::object: {
        plist_t dict = plist_new_dict();
        for (auto it = v.begin(); it != v.end(); ++it)
            if (plist_t n = toNode(it.value()))
                plist_dict_set_item(dict, it.key().c_str(), n);
        return dict;
    }
    default:
        return nullptr; // null has no property-list form; the key is left out
    }
}

} // namespace

std::optional<KTJson> KTPlist::parse(std::string_view bytes, std::string* error)
{
    if (bytes.empty() || bytes.size() > std::numeric_limits<uint32_t>::max()) {
        if (error)
            *error = "empty property list";
        return std::nullopt;
    }
    PlistHolder h;
    KTCNumericScope cNumbers; // libplist reads and writes <real> with the C library
    if (bytes.substr(0, 6) == "bplist") {
        // A binary list may hold a dictionary key with a NUL byte, and
        // libplist's key getter aborts the process on one. Its XML form
        // reads back with every key cut at the NUL, so the binary list is
        // read through that (dates keep whole seconds).
        PlistHolder binary;
        plist_from_bin(bytes.data(), static_cast<uint32_t>(bytes.size()), &binary.node);
        char* xml = nullptr;
        uint32_t length = 0;
        if (binary.node)
            plist_to_xml(binary.node, &xml, &length);
        if (xml) {
            plist_from_xml(xml, length, &h.node);
            plist_to_xml_free(xml);
        }
    } else {
        plist_from_xml(bytes.data(), static_cast<uint32_t>(bytes.size()), &h.node);
    }
    if (!h.node) {
        if (error)
            *error = "not a property list";
        return std::nullopt;
    }
    return fromNode(h.node, 0);
}

std::optional<KTJson> KTPlist::readFile(const std::string& path, std::string* error)
{
    auto bytes = KTFileUtil::read(path, error);
    if (!bytes)
        return std::nullopt;
    auto v = parse(*bytes, error);
    if (!v && error)
        *error = path + ": " + *error;
    return v;
}

std::string KTPlist::toXml(const KTJson& value)
{
    PlistHolder h;
    h.node = toNode(value);
    if (!h.node)
        return {};
    char* xml = nullptr;
    uint32_t len = 0;
    {
        KTCNumericScope cNumbers; // and writes it with printf
        plist_to_xml(h.node, &xml, &len);
    }
    std::string out(xml ? xml : "", xml ? len : 0);
    if (xml)
        plist_to_xml_free(xml);
    return out;
}

bool KTPlist::writeFile(const std::string& path, const KTJson& value, std::string* error)
{
    std::string xml = toXml(value);
    if (xml.empty()) {
        if (error)
            *error = "nothing to write";
        return false;
    }
    return KTFileUtil::writeAtomically(path, xml, error);
}

} // namespace quilt
