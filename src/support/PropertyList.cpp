#include "support/PropertyList.h"

#include "support/NumberText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <nlohmann/json.hpp>
#include <type_traits>

namespace windlark {

PropertyDictionary::PropertyDictionary(std::initializer_list<Entry> entries) {
    entries_.reserve(entries.size());
    for (const Entry& entry : entries) {
        set(entry.first, entry.second);
    }
}

void PropertyDictionary::set(std::string key, PropertyList value) {
    for (Entry& entry : entries_) {
        if (entry.first == key) {
            entry.second = std::move(value);
            return;
        }
    }
    entries_.emplace_back(std::move(key), std::move(value));
}

const PropertyList* PropertyDictionary::find(std::string_view key) const {
    for (const Entry& entry : entries_) {
        if (entry.first == key) {
            return &entry.second;
        }
    }
    return nullptr;
}

std::optional<bool> PropertyDictionary::boolean(std::string_view key) const {
    const PropertyList* value = find(key);
    if (value == nullptr || value->asBoolean() == nullptr) {
        return std::nullopt;
    }
    return *value->asBoolean();
}

std::optional<std::int64_t> PropertyDictionary::integer(std::string_view key) const {
    const PropertyList* value = find(key);
    if (value == nullptr || value->asInteger() == nullptr) {
        return std::nullopt;
    }
    return *value->asInteger();
}

std::optional<double> PropertyDictionary::real(std::string_view key) const {
    const PropertyList* value = find(key);
    if (value == nullptr || value->asReal() == nullptr) {
        return std::nullopt;
    }
    return *value->asReal();
}

const std::string* PropertyDictionary::string(std::string_view key) const {
    const PropertyList* value = find(key);
    return value == nullptr ? nullptr : value->asString();
}

bool operator==(const PropertyDictionary& lhs, const PropertyDictionary& rhs) {
    if (lhs.entries_.size() != rhs.entries_.size()) {
        return false;
    }
    return std::all_of(lhs.entries_.begin(), lhs.entries_.end(), [&rhs](const auto& entry) {
        const PropertyList* other = rhs.find(entry.first);
        return other != nullptr && *other == entry.second;
    });
}

std::string PropertyList::text() const {
    return std::visit(
        [this](const auto& value) -> std::string {
            using T = std::decay_t<decltype(value)>;
            if constexpr (std::is_same_v<T, bool>) {
                return value ? "true" : "false";
            } else if constexpr (std::is_same_v<T, std::int64_t>) {
                return std::to_string(value);
            } else if constexpr (std::is_same_v<T, double>) {
                return shortestDoubleText(value);
            } else if constexpr (std::is_same_v<T, std::string>) {
                return value;
            } else {
                // A diagnostic line must print whatever the helper sent; bytes that are
                // not UTF-8 cannot go into JSON as they are, so they show as U+FFFD.
                return toJson(*this).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
            }
        },
        value_);
}

nlohmann::json toJson(const PropertyList& value) {
    return std::visit(
        [](const auto& item) -> nlohmann::json {
            using T = std::decay_t<decltype(item)>;
            if constexpr (std::is_same_v<T, PropertyArray>) {
                nlohmann::json array = nlohmann::json::array();
                for (const PropertyList& element : item) {
                    array.push_back(toJson(element));
                }
                return array;
            } else if constexpr (std::is_same_v<T, PropertyDictionary>) {
                return toJson(item);
            } else {
                return nlohmann::json(item);
            }
        },
        value.value());
}

nlohmann::json toJson(const PropertyDictionary& dictionary) {
    // nlohmann's object sorts its keys; the order of a dictionary is a presentation
    // detail that the wire does not need to carry.
    nlohmann::json object = nlohmann::json::object();
    for (const auto& [key, value] : dictionary.entries()) {
        object[key] = toJson(value);
    }
    return object;
}

std::optional<PropertyList> propertyListFromJson(const nlohmann::json& json) {
    switch (json.type()) {
    case nlohmann::json::value_t::boolean:
        return PropertyList(json.get<bool>());
    case nlohmann::json::value_t::number_integer:
        return PropertyList(json.get<std::int64_t>());
    case nlohmann::json::value_t::number_unsigned: {
        const auto unsignedValue = json.get<std::uint64_t>();
        if (unsignedValue > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
            return std::nullopt;
        }
        return PropertyList(static_cast<std::int64_t>(unsignedValue));
    }
    case nlohmann::json::value_t::number_float:
        return PropertyList(json.get<double>());
    case nlohmann::json::value_t::string:
        return PropertyList(json.get<std::string>());
    case nlohmann::json::value_t::array: {
        PropertyArray array;
        array.reserve(json.size());
        for (const nlohmann::json& element : json) {
            auto converted = propertyListFromJson(element);
            if (!converted) {
                return std::nullopt;
            }
            array.push_back(std::move(*converted));
        }
        return PropertyList(std::move(array));
    }
    case nlohmann::json::value_t::object: {
        auto dictionary = propertyDictionaryFromJson(json);
        if (!dictionary) {
            return std::nullopt;
        }
        return PropertyList(std::move(*dictionary));
    }
    default:
        return std::nullopt;
    }
}

std::optional<PropertyDictionary> propertyDictionaryFromJson(const nlohmann::json& json) {
    if (!json.is_object()) {
        return std::nullopt;
    }
    PropertyDictionary dictionary;
    for (const auto& [key, element] : json.items()) {
        auto converted = propertyListFromJson(element);
        if (!converted) {
            return std::nullopt;
        }
        dictionary.set(key, std::move(*converted));
    }
    return dictionary;
}

} // namespace windlark
