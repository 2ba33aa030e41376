#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quilt {

// Small file operations shared by the stores, the bundle code and the tools.
class KTFileUtil {
public:
    // Larger files are refused: no store, property list or script of an app
    // comes near it, and an endless one (a link to /dev/zero) must not take
    // the machine's memory.
    static constexpr size_t kMaxReadSize = 256u << 20;

    // Whole file as bytes; nullopt when it cannot be read (*error says why).
    // Only regular files are read: a FIFO, a device or a folder is refused at
    // once instead of blocking or reading forever. `padding`: spare capacity
    // reserved after the bytes, for parsers that read past the end.
    static std::optional<std::string> read(const std::string& path, std::string* error = nullptr,
                                           size_t maxSize = kMaxReadSize, size_t padding = 0);

    // Asks the kernel to back a large buffer that is about to be filled
    // with huge pages: where a page fault is dear (in a virtual machine it
    // may cost 40 µs per 4 KiB), filling 20 MB takes 10 faults instead of
    // 5 000. Only whole 2 MiB pages inside the buffer are affected; a
    // kernel without transparent huge pages ignores it.
    static void preferHugePages(void* data, size_t size);

    // Renames a file that could not be used to "<path>.corrupt-<date>" so
    // that the store starting empty never saves over the user's data; the
    // new path, or nullopt when the rename failed (*error says why).
    static std::optional<std::string> setAside(const std::string& path, std::string* error = nullptr);

    // Replaces the file atomically: writes a temporary file in the same
    // folder, flushes it to disk and renames it over the target, so a crash
    // or a full disk leaves either the old or the new file, never a torn one.
    // Temporary files that a killed process left behind are removed.
    static bool writeAtomically(const std::string& path, std::string_view data,
                                std::string* error = nullptr, int mode = 0644);

    // mkdir -p; true when the folder exists afterwards.
    static bool makeDirectories(const std::string& path, std::string* error = nullptr);

    static bool exists(const std::string& path);
    static bool isDirectory(const std::string& path);

    // Recursive copy of a file or folder (symlinks copied as links, modes kept).
    static bool copyTree(const std::string& from, const std::string& to, std::string* error = nullptr);
    // rm -rf; true when nothing is left at the path.
    static bool removeTree(const std::string& path, std::string* error = nullptr);

    static std::string lastComponent(std::string_view path);
    static std::string parentFolder(std::string_view path);
};

} // namespace quilt
