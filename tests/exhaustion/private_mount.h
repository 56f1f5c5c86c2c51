#pragma once
// File systems that only this process and those that it starts can see. They go with the process,
// so nothing is left on the machine however a test ends.

#include <string>

namespace exhaustion {

/// Gives this process its own view of what is mounted where. Yields why that is not possible; empty
/// if it is.
[[nodiscard]] std::string enterOwnMountNamespace();

/// A file system in memory; removed with all that it holds at the end. Only after
/// `enterOwnMountNamespace`.
class PrivateMount {
public:
    /// Mounts it on the directory `path`; `options` as the kernel takes them for a file system of
    /// this kind ("size=64k").
    PrivateMount(std::string path, const std::string& options);
    PrivateMount(const PrivateMount&) = delete;
    PrivateMount& operator=(const PrivateMount&) = delete;
    ~PrivateMount();

    [[nodiscard]] const std::string& path() const { return path_; }

    void setReadOnly(bool readOnly) const;

private:
    std::string path_;
    std::string options_;
};

/// Shows the directory `source`, with what is mounted below it, at the directory `path` too.
void showAt(const std::string& source, const std::string& path);

/// The same, but nothing can be changed there.
void showReadOnlyAt(const std::string& source, const std::string& path);

} // namespace exhaustion
