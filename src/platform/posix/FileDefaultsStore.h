#pragma once

#include "curve/DefaultsStore.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace windlark {

// The defaults database of systems without one of their own: a single JSON file per
// user. String values are stored as JSON strings, binary values as {"data": base64}.
// Every write replaces the whole file atomically (a temporary file beside it, flushed
// to disk, then renamed over it), so a crash mid-save leaves the old or the new
// contents, never a mixture. A file that cannot be read or parsed reads as empty and is
// left alone until the next write replaces it.
class FileDefaultsStore final : public DefaultsStore {
public:
    // An empty path gives a store that reads nothing and forgets every write.
    explicit FileDefaultsStore(std::filesystem::path file);

    // "<config>/windlark-mac/defaults.json", where <config> is `xdgConfigHome` when it
    // is an absolute path (the XDG rule) and otherwise "<home>/.config"; empty when
    // neither is usable.
    [[nodiscard]] static std::filesystem::path standardPath(std::string_view xdgConfigHome,
                                                            std::string_view home);

    [[nodiscard]] const std::filesystem::path& file() const { return file_; }

    [[nodiscard]] std::optional<DefaultsData> data(std::string_view key) const override;
    void setData(std::string_view key, const DefaultsData& value) override;

    [[nodiscard]] std::optional<std::string> string(std::string_view key) const override;
    void setString(std::string_view key, std::string_view value) override;

private:
    std::filesystem::path file_;
};

} // namespace windlark
