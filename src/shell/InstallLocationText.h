#pragma once

#include "text/AppLanguage.h"

#include <string>
#include <string_view>

namespace windlark {

// The texts of the offer to move the application into the applications folder. They
// follow the system's preferred language rather than the in-app choice, because the
// offer comes before the application has read its own settings. "Applications" stays
// untranslated everywhere: it names the folder as the file system shows it.
enum class InstallLocationText {
    title,
    message,
    moveButton,
    quitButton,
    failureTitle,
    failureMessage,
};

[[nodiscard]] std::string_view localizedText(InstallLocationText text, AppLanguage language);

// The failure message with its "%@" replaced by the error's description.
[[nodiscard]] std::string localizedFailureMessage(AppLanguage language,
                                                  std::string_view errorDescription);

} // namespace windlark
