// A JSON document whose values know their path and line, for error messages.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "virtual/Scenario.h"

namespace nubrix::virtual_camera {

/// One value of a document, which must outlive it. The readers throw ScenarioError, with the
/// value's path and line, when the value has another type or is out of range.
class JsonValue {
public:
    using Lines = std::map<std::string, int>;

    JsonValue(const nlohmann::json &value, std::string path, const Lines &lines)
        : m_value(&value), m_path(std::move(path)), m_lines(&lines)
    {
    }

    /// For example cameras[1].serial; empty for the root.
    const std::string &path() const { return m_path; }
    /// Line of the value, or of its key if it has one.
    int line() const { return m_lines->at(m_path); }

    bool isInteger() const { return m_value->is_number_integer(); }
    bool isObject() const { return m_value->is_object(); }
    bool isString() const { return m_value->is_string(); }

    std::string text() const;
    bool flag() const;
    std::int64_t integer(std::int64_t least, std::int64_t most) const;
    /// Within least and most.
    double number(double least, double most) const;
    std::vector<JsonValue> items() const;
    std::vector<std::pair<std::string, JsonValue>> members() const;
    std::optional<JsonValue> member(const std::string &name) const;

    /// Throws if the object has a key that is not in the list.
    void requireKeysAmong(const std::vector<std::string> &names) const;

    [[noreturn]] void fail(const std::string &message) const;

private:
    const nlohmann::json *m_value;
    std::string m_path;
    const Lines *m_lines;
};

/// "a, b, c".
std::string listOf(const std::vector<std::string> &names);

/// Owns the data that its values refer to.
class JsonDocument {
public:
    /// Throws ScenarioError when the text is not JSON, has a duplicate key, or is nested too
    /// deeply.
    explicit JsonDocument(const std::string &text);

    JsonValue root() const { return {m_json, "", m_lines}; }

private:
    JsonValue::Lines m_lines;
    nlohmann::json m_json;
};

}  // namespace nubrix::virtual_camera
