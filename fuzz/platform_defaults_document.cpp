// The defaults file is the user's to edit. Whatever it holds must read as a settings
// object or as unreadable; an object must write back as text that reads as the same
// object; and the base64 of stored data must give back every byte.

#include "platform/posix/DefaultsDocument.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace windlark;
    const std::string_view text(reinterpret_cast<const char*>(data), size);

    if (const auto document = DefaultsDocument::parse(text)) {
        std::string written;
        try {
            written = DefaultsDocument::text(*document);
        } catch (const nlohmann::json::exception&) {
            std::abort(); // what was read as JSON is UTF-8 and must write back
        }
        const auto again = DefaultsDocument::parse(written);
        if (!again || *again != *document) {
            std::abort();
        }
        for (const auto& [key, value] : document->items()) {
            if (value.is_object() && value.contains("data") && value.at("data").is_string()) {
                (void)DefaultsDocument::base64Decode(
                    value.at("data").get_ref<const std::string&>());
            }
        }
    }

    const DefaultsData bytes(data, data + size);
    const std::string encoded = DefaultsDocument::base64Encode(bytes);
    if (DefaultsDocument::base64Decode(encoded) != bytes) {
        std::abort();
    }
    if (const auto decoded = DefaultsDocument::base64Decode(text);
        decoded && decoded->size() > size / 4 * 3) {
        std::abort();
    }
    return 0;
}
