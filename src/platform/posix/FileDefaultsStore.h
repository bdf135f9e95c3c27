#pragma once

#include "curve/DefaultsStore.h"

#include <filesystem>
#include <functional>
#include <iosfwd>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace windlark {

// The defaults database of systems without one of their own: a single JSON file per
// user. String values are stored as JSON strings, binary values as {"data": base64}.
// Every write replaces the whole file atomically (a temporary file beside it, flushed
// to disk, then renamed over it), so a crash mid-save leaves the old or the new
// contents, never a mixture. A file that cannot be read or parsed reads as empty; the
// next write first moves it aside as "<name>.unreadable" and says so, so that nothing the
// user had is lost. When the file is a symbolic link, writes replace the file it points to.
class FileDefaultsStore final : public DefaultsStore {
public:
    // An empty path gives a store that reads nothing and forgets every write.
    // Problems with saving are reported on `diagnostics` (standard error by default).
    explicit FileDefaultsStore(std::filesystem::path file);
    FileDefaultsStore(std::filesystem::path file, std::ostream& diagnostics);

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
    // Reads the file, lets `change` edit its object and writes the result back.
    void update(const std::function<void(nlohmann::json&)>& change);

    std::filesystem::path file_;
    std::ostream* diagnostics_;
};

} // namespace windlark
