#include "core/config/KTIcns.h"

#include "core/config/GRef.h"
#include "core/config/KTFileUtil.h"

#include <algorithm>
#include <cstdint>

namespace quilt {

namespace {
void putBE32(std::string& out, uint32_t v)
{
    out.push_back(static_cast<char>((v >> 24) & 0xff));
    out.push_back(static_cast<char>((v >> 16) & 0xff));
    out.push_back(static_cast<char>((v >> 8) & 0xff));
    out.push_back(static_cast<char>(v & 0xff));
}

uint32_t getBE32(std::string_view in, size_t at)
{
    auto b = [&](size_t i) { return static_cast<uint32_t>(static_cast<unsigned char>(in[at + i])); };
    return (b(0) << 24) | (b(1) << 16) | (b(2) << 8) | b(3);
}

bool isPng(std::string_view data) { return data.substr(0, 8) == std::string_view("\x89PNG\r\n\x1a\n", 8); }

// gdk-pixbuf's PNG loader returns a partly drawn image, without an error, for
// a truncated file; a complete PNG has its empty IEND chunk.
bool isCompletePng(std::string_view data)
{
    return isPng(data) && data.find(std::string_view("\0\0\0\0IEND", 8), 8) != std::string_view::npos;
}
} // namespace

std::string KTIcns::typeForSize(int pixels)
{
    switch (pixels) {
    case 16: return "icp4";
    case 32: return "icp5";
    case 64: return "icp6";
    case 128: return "ic07";
    case 256: return "ic08";
    case 512: return "ic09";
    case 1024: return "ic10";
    default: return {};
    }
}

std::string KTIcns::encode(const std::vector<Element>& elements)
{
    std::string body;
    for (const auto& e : elements) {
        std::string type = e.type;
        type.resize(4, ' ');
        body += type;
        putBE32(body, static_cast<uint32_t>(e.data.size() + 8));
        body += e.data;
    }
    std::string out = "icns";
    putBE32(out, static_cast<uint32_t>(body.size() + 8));
    return out + body;
}

std::optional<std::vector<KTIcns::Element>> KTIcns::decode(std::string_view bytes)
{
    if (bytes.size() < 8 || bytes.substr(0, 4) != "icns")
        return std::nullopt;
    size_t total = getBE32(bytes, 4);
    if (total < 8 || total > bytes.size())
        return std::nullopt;
    std::vector<Element> out;
    size_t at = 8;
    while (at + 8 <= total) {
        size_t len = getBE32(bytes, at + 4);
        if (len < 8 || at + len > total)
            return std::nullopt;
        out.push_back({std::string(bytes.substr(at, 4)), std::string(bytes.substr(at + 8, len - 8))});
        at += len;
    }
    if (at != total)
        return std::nullopt;
    return out;
}

bool KTIcns::writeFile(const std::string& path, GdkPixbuf* image, const std::vector<int>& sizes, std::string* error)
{
    if (!image) {
        if (error)
            *error = "no image";
        return false;
    }
    std::vector<Element> elements;
    for (int size : sizes) {
        std::string type = typeForSize(size);
        if (type.empty())
            continue;
        auto scaled = GRef<GdkPixbuf>::adopt(gdk_pixbuf_scale_simple(image, size, size, GDK_INTERP_HYPER));
        if (!scaled) {
            if (error)
                *error = "cannot scale the image";
            return false;
        }
        gchar* buffer = nullptr;
        gsize length = 0;
        GError* gerr = nullptr;
        if (!gdk_pixbuf_save_to_buffer(scaled.get(), &buffer, &length, "png", &gerr, nullptr)) {
            if (error)
                *error = gerr ? gerr->message : "cannot encode PNG";
            g_clear_error(&gerr);
            return false;
        }
        elements.push_back({type, std::string(buffer, length)});
        g_free(buffer);
    }
    if (elements.empty()) {
        if (error)
            *error = "no icon size to write";
        return false;
    }
    return KTFileUtil::writeAtomically(path, encode(elements), error);
}

namespace {
// Width from a PNG's header (IHDR), without decoding it.
uint32_t pngWidth(const std::string& data) { return data.size() >= 24 ? getBE32(data, 16) : 0; }

// Dimensions a PNG declares in its header are checked before decoding: a
// 15 KB file can declare 20000x20000 pixels, gigabytes once decoded.
bool sensibleSize(const std::string& data)
{
    if (data.size() < 24 || data.compare(12, 4, "IHDR") != 0)
        return false;
    const uint64_t w = getBE32(data, 16), h = getBE32(data, 20);
    return w > 0 && h > 0 && w <= KTIcns::kMaxSide && h <= KTIcns::kMaxSide;
}

GdkPixbuf* decodePng(const std::string& data)
{
    if (!sensibleSize(data))
        return nullptr;
    auto loader = GRef<GdkPixbufLoader>::adopt(gdk_pixbuf_loader_new_with_type("png", nullptr));
    if (!loader)
        return nullptr;
    bool ok = gdk_pixbuf_loader_write(loader.get(), reinterpret_cast<const guchar*>(data.data()), data.size(), nullptr);
    ok = gdk_pixbuf_loader_close(loader.get(), nullptr) && ok;
    GdkPixbuf* pix = ok ? gdk_pixbuf_loader_get_pixbuf(loader.get()) : nullptr;
    return pix ? GDK_PIXBUF(g_object_ref(pix)) : nullptr;
}
} // namespace

GdkPixbuf* KTIcns::readLargest(std::string_view bytes) { return readNearest(bytes, 0); }

GdkPixbuf* KTIcns::readNearest(std::string_view bytes, int pixels)
{
    auto elements = decode(bytes);
    if (!elements)
        return nullptr;
    // Legacy bitmap elements are not worth decoding. Candidates in order of
    // preference: the smallest at least as large as asked (pixels 0 = the
    // largest), then larger-to-smaller for the rest; only one is decoded
    // unless it turns out to be broken.
    std::vector<const Element*> pngs;
    for (const auto& e : *elements)
        if (isCompletePng(e.data))
            pngs.push_back(&e);
    const uint32_t want = static_cast<uint32_t>(std::max(pixels, 0));
    auto rank = [want](const Element* e) {
        uint32_t w = pngWidth(e->data);
        if (want == 0)
            return std::pair<int, uint32_t>{0, ~w};
        return w >= want ? std::pair<int, uint32_t>{0, w} : std::pair<int, uint32_t>{1, ~w};
    };
    std::stable_sort(pngs.begin(), pngs.end(), [&](const Element* a, const Element* b) { return rank(a) < rank(b); });
    for (const Element* e : pngs)
        if (GdkPixbuf* pix = decodePng(e->data))
            return pix;
    return nullptr;
}

GdkPixbuf* KTIcns::readNearest(const std::string& path, int pixels)
{
    auto bytes = KTFileUtil::read(path);
    return bytes ? readNearest(std::string_view(*bytes), pixels) : nullptr;
}

GdkPixbuf* KTIcns::readLargest(const std::string& path)
{
    auto bytes = KTFileUtil::read(path);
    return bytes ? readLargest(std::string_view(*bytes)) : nullptr;
}

} // namespace quilt
