#include "helper/PrivilegedHelperActionResult.h"

#include <algorithm>

namespace windlark {

std::vector<std::string> PrivilegedHelperActionResult::lines() const {
    std::vector<std::string> result;
    result.reserve(2 + (dictionary ? dictionary->size() : 0));
    result.push_back(std::string("success=") + (isSuccess ? "true" : "false"));
    result.push_back("message=" + message);
    if (dictionary) {
        std::vector<const PropertyDictionary::Entry*> entries;
        entries.reserve(dictionary->size());
        for (const auto& entry : dictionary->entries()) {
            entries.push_back(&entry);
        }
        std::sort(entries.begin(), entries.end(),
                  [](const auto* lhs, const auto* rhs) { return lhs->first < rhs->first; });
        for (const auto* entry : entries) {
            result.push_back(entry->first + "=" + entry->second.text());
        }
    }
    return result;
}

} // namespace windlark
