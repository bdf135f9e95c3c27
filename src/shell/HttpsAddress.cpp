#include "shell/HttpsAddress.h"

#include <cstddef>

namespace windlark {
namespace {

bool isAsciiLetter(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}
bool isAsciiDigit(char character) {
    return character >= '0' && character <= '9';
}
bool isHexDigit(char character) {
    return isAsciiDigit(character) || (character >= 'a' && character <= 'f') ||
           (character >= 'A' && character <= 'F');
}

// The characters an address may hold unescaped: unreserved, reserved and '%'.
bool isAddressCharacter(char character) {
    if (isAsciiLetter(character) || isAsciiDigit(character)) {
        return true;
    }
    constexpr std::string_view kOthers = "-._~:/?#[]@!$&'()*+,;=%";
    return kOthers.find(character) != std::string_view::npos;
}

bool hasOnlyAddressCharacters(std::string_view text) {
    for (std::size_t index = 0; index < text.size(); ++index) {
        if (!isAddressCharacter(text[index])) {
            return false;
        }
        if (text[index] == '%' && (index + 2 >= text.size() || !isHexDigit(text[index + 1]) ||
                                   !isHexDigit(text[index + 2]))) {
            return false;
        }
    }
    return true;
}

bool isHttpsScheme(std::string_view scheme) {
    constexpr std::string_view kHttps = "https";
    if (scheme.size() != kHttps.size()) {
        return false;
    }
    for (std::size_t index = 0; index < scheme.size(); ++index) {
        const char lower = (scheme[index] >= 'A' && scheme[index] <= 'Z')
                               ? static_cast<char>(scheme[index] - 'A' + 'a')
                               : scheme[index];
        if (lower != kHttps[index]) {
            return false;
        }
    }
    return true;
}

// The host of an authority "userinfo@host:port", or absent when the authority is malformed.
std::optional<std::string_view> hostOfAuthority(std::string_view authority) {
    if (const std::size_t at = authority.rfind('@'); at != std::string_view::npos) {
        authority.remove_prefix(at + 1);
    }
    std::string_view host;
    std::string_view rest;
    if (authority.starts_with('[')) {
        const std::size_t close = authority.find(']');
        if (close == std::string_view::npos) {
            return std::nullopt;
        }
        host = authority.substr(1, close - 1);
        rest = authority.substr(close + 1);
    } else {
        const std::size_t colon = authority.find(':');
        host = authority.substr(0, colon);
        rest = colon == std::string_view::npos ? std::string_view{} : authority.substr(colon);
    }
    if (host.find_first_of("[]") != std::string_view::npos) {
        return std::nullopt;
    }
    if (!rest.empty()) {
        if (rest.front() != ':') {
            return std::nullopt;
        }
        for (char character : rest.substr(1)) {
            if (!isAsciiDigit(character)) {
                return std::nullopt;
            }
        }
    }
    return host;
}

} // namespace

std::optional<std::string> acceptedHttpsAddress(std::string_view text) {
    if (text.empty() || !hasOnlyAddressCharacters(text)) {
        return std::nullopt;
    }
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos || colon == 0 || !isAsciiLetter(text.front())) {
        return std::nullopt;
    }
    const std::string_view scheme = text.substr(0, colon);
    for (char character : scheme) {
        if (!isAsciiLetter(character) && !isAsciiDigit(character) && character != '+' &&
            character != '-' && character != '.') {
            return std::nullopt;
        }
    }
    if (!isHttpsScheme(scheme)) {
        return std::nullopt;
    }
    std::string_view rest = text.substr(colon + 1);
    if (!rest.starts_with("//")) {
        return std::nullopt; // "https:path" has no host
    }
    rest.remove_prefix(2);
    const std::string_view authority = rest.substr(0, rest.find_first_of("/?#"));
    const auto host = hostOfAuthority(authority);
    if (!host || host->empty()) {
        return std::nullopt;
    }
    // A fragment may appear once; a second '#' makes the whole text unparsable.
    if (const std::size_t hash = text.find('#');
        hash != std::string_view::npos && text.find('#', hash + 1) != std::string_view::npos) {
        return std::nullopt;
    }
    return std::string(text);
}

} // namespace windlark
