#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace windlark {

// `text` itself when it is a well-formed absolute address whose scheme is "https" in any
// letter case and whose host is not empty; absent for anything else (plain "http", file
// addresses, bare paths, text with spaces or characters an address cannot hold). Both the
// update document's address and the release page it names go through this rule, so the
// program never fetches or offers anything over an unencrypted connection.
[[nodiscard]] std::optional<std::string> acceptedHttpsAddress(std::string_view text);

} // namespace windlark
