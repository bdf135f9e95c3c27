#pragma once

#include <QString>
#include <string_view>

namespace windlark {

// The core's texts are UTF-8; this is the one conversion the views need.
[[nodiscard]] inline QString toQString(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

} // namespace windlark
