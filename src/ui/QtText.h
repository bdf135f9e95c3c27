#pragma once

#include <QString>
#include <string>
#include <string_view>

namespace windlark {

// The core's texts are UTF-8; these are the only conversions the views need.
[[nodiscard]] inline QString toQString(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

[[nodiscard]] inline std::string toStdString(const QString& text) {
    return text.toStdString();
}

} // namespace windlark
