#pragma once

#include <cstdint>
#include <initializer_list>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace windlark {

class PropertyList;

// A string-keyed dictionary of property-list values that remembers the order in which keys
// were first set: several records print their keys in a fixed order, and the helper's
// replies are shown as they came. Lookup is linear, which is the fast choice for the dozen
// keys these dictionaries ever hold.
class PropertyDictionary {
public:
    using Entry = std::pair<std::string, PropertyList>;

    PropertyDictionary() = default;
    PropertyDictionary(std::initializer_list<Entry> entries);

    // Sets `key`, replacing an existing value in place (keeping its position).
    void set(std::string key, PropertyList value);

    [[nodiscard]] const PropertyList* find(std::string_view key) const;
    [[nodiscard]] bool contains(std::string_view key) const { return find(key) != nullptr; }

    // Typed reads: absent when the key is missing or holds a value of another type.
    [[nodiscard]] std::optional<bool> boolean(std::string_view key) const;
    [[nodiscard]] std::optional<std::int64_t> integer(std::string_view key) const;
    [[nodiscard]] std::optional<double> real(std::string_view key) const;
    [[nodiscard]] const std::string* string(std::string_view key) const;

    [[nodiscard]] const std::vector<Entry>& entries() const { return entries_; }
    // Defined below PropertyList: the entries' size is only known once it is complete.
    [[nodiscard]] std::size_t size() const;
    [[nodiscard]] bool empty() const;

    // Dictionaries are equal when they hold the same keys with equal values, in any order.
    friend bool operator==(const PropertyDictionary& lhs, const PropertyDictionary& rhs);

private:
    std::vector<Entry> entries_;
};

using PropertyArray = std::vector<PropertyList>;

// One property-list value. Integers, doubles, booleans and strings stay distinct types:
// the helper contract relies on "accepted" being a boolean and "fanIndex" an integer, so
// a string "true" must never pass for a boolean nor 2.0 for an integer.
class PropertyList {
public:
    using Value =
        std::variant<bool, std::int64_t, double, std::string, PropertyArray, PropertyDictionary>;

    PropertyList()
        : value_(std::string()) {}
    PropertyList(bool value)
        : value_(value) {}
    PropertyList(std::int64_t value)
        : value_(value) {}
    PropertyList(int value)
        : value_(std::int64_t{value}) {}
    PropertyList(double value)
        : value_(value) {}
    PropertyList(std::string value)
        : value_(std::move(value)) {}
    PropertyList(std::string_view value)
        : value_(std::string(value)) {}
    PropertyList(const char* value)
        : value_(std::string(value)) {}
    PropertyList(PropertyArray value)
        : value_(std::move(value)) {}
    PropertyList(PropertyDictionary value)
        : value_(std::move(value)) {}

    [[nodiscard]] const Value& value() const { return value_; }

    [[nodiscard]] const bool* asBoolean() const { return std::get_if<bool>(&value_); }
    [[nodiscard]] const std::int64_t* asInteger() const {
        return std::get_if<std::int64_t>(&value_);
    }
    [[nodiscard]] const double* asReal() const { return std::get_if<double>(&value_); }
    [[nodiscard]] const std::string* asString() const { return std::get_if<std::string>(&value_); }
    [[nodiscard]] const PropertyArray* asArray() const {
        return std::get_if<PropertyArray>(&value_);
    }
    [[nodiscard]] const PropertyDictionary* asDictionary() const {
        return std::get_if<PropertyDictionary>(&value_);
    }

    // The value as one line of diagnostic text: booleans as true/false, integers in
    // decimal, doubles in their shortest exact form ("2400", "2400.5"), strings unchanged,
    // containers as compact JSON.
    [[nodiscard]] std::string text() const;

    friend bool operator==(const PropertyList& lhs, const PropertyList& rhs) {
        return lhs.value_ == rhs.value_;
    }

private:
    Value value_;
};

inline std::size_t PropertyDictionary::size() const {
    return entries_.size();
}

inline bool PropertyDictionary::empty() const {
    return entries_.empty();
}

// JSON is the wire form wherever there is no native property-list transport (the
// simulated helper, tests). JSON integers become integers and JSON numbers with a
// fraction or exponent become doubles; null has no property-list form and yields nothing.
[[nodiscard]] nlohmann::json toJson(const PropertyList& value);
[[nodiscard]] nlohmann::json toJson(const PropertyDictionary& dictionary);
[[nodiscard]] std::optional<PropertyList> propertyListFromJson(const nlohmann::json& json);
[[nodiscard]] std::optional<PropertyDictionary>
propertyDictionaryFromJson(const nlohmann::json& json);

} // namespace windlark
