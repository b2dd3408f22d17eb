#include "virtual/JsonDocument.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace nubrix::virtual_camera {

namespace {

using nlohmann::json;

constexpr std::size_t kMaxNesting = 16;

/// The path of a member. An empty name, or one that looks like a path, is quoted.
std::string pathOf(const std::string &object, const std::string &name)
{
    const bool isPlain = !name.empty() && name.find_first_of(".[\"") == std::string::npos;
    const std::string step = isPlain ? name : "\"" + name + "\"";
    return object.empty() ? step : object + "." + step;
}

/// Progress of the parser.
struct Place {
    int newlines = 0;
    bool atNewline = false;  // the last character was a line end, which still belongs to its line

    int line() const { return 1 + newlines; }
};

/// Iterates over the text and counts lines.
class TextIterator {
public:
    using difference_type = std::ptrdiff_t;
    using value_type = char;
    using pointer = const char *;
    using reference = const char &;
    using iterator_category = std::forward_iterator_tag;

    TextIterator(const char *at, Place &place) : m_at(at), m_place(&place) {}

    reference operator*() const { return *m_at; }
    TextIterator &operator++()
    {
        m_place->newlines += m_place->atNewline ? 1 : 0;
        m_place->atNewline = *m_at == '\n';
        ++m_at;
        return *this;
    }
    bool operator==(const TextIterator &other) const { return m_at == other.m_at; }
    bool operator!=(const TextIterator &other) const { return m_at != other.m_at; }

private:
    const char *m_at;
    Place *m_place;
};

/// Records the line of every value. The parser reports a value after its last character, or for a
/// number after the character that follows; that character is still on the line of the value.
class LineRecorder final : public json::json_sax_t {
public:
    LineRecorder(const Place &place, JsonValue::Lines &lines) : m_place(place), m_lines(lines) {}

    ScenarioError error;

    bool null() override { return note(); }
    bool boolean(bool /*value*/) override { return note(); }
    bool number_integer(number_integer_t /*value*/) override { return note(); }
    bool number_unsigned(number_unsigned_t /*value*/) override { return note(); }
    bool number_float(number_float_t /*value*/, const string_t & /*text*/) override
    {
        return note();
    }
    bool string(string_t & /*value*/) override { return note(); }
    bool binary(binary_t & /*value*/) override { return note(); }
    bool start_object(std::size_t /*elements*/) override { return open(false); }
    bool start_array(std::size_t /*elements*/) override { return open(true); }
    bool end_object() override { return close(); }
    bool end_array() override { return close(); }

    bool key(string_t &name) override
    {
        Level &level = m_levels.back();
        level.next = pathOf(level.path, name);
        if (m_lines.emplace(level.next, m_place.line()).second)
            return true;
        error = {level.next, m_place.line(), "the key is there twice"};
        return false;
    }

    bool parse_error(std::size_t /*position*/, const std::string & /*token*/,
                     const json::exception &exception) override
    {
        // "[json.exception...] parse error at line 1, column 2: what is wrong"
        std::string what = exception.what();
        what.erase(0, what.find("] ") + 2);
        if (what.rfind("parse error", 0) == 0)
            what.erase(0, what.find(": ") + 2);
        error = {"", m_place.line(), what};
        return false;
    }

private:
    struct Level {
        bool isArray;
        std::string path;
        std::size_t count;  // elements of an array so far
        std::string next;   // path of the next value
    };

    /// The path of the value that begins here.
    std::string place()
    {
        if (m_levels.empty())
            return "";
        Level &level = m_levels.back();
        if (level.isArray)
            level.next = level.path + "[" + std::to_string(level.count++) + "]";
        return level.next;
    }

    bool note()
    {
        m_lines.emplace(place(), m_place.line());
        return true;
    }

    bool open(bool isArray)
    {
        const std::string path = place();
        m_lines.emplace(path, m_place.line());
        m_levels.push_back({isArray, path, 0, ""});
        if (m_levels.size() <= kMaxNesting)
            return true;
        error = {path, m_place.line(), "this is nested too deeply"};
        return false;
    }

    bool close()
    {
        m_levels.pop_back();
        return true;
    }

    const Place &m_place;
    JsonValue::Lines &m_lines;
    std::vector<Level> m_levels;
};

std::string rangeText(const std::string &least, const std::string &most)
{
    return "must be from " + least + " to " + most;
}

}  // namespace

std::string JsonValue::text() const
{
    if (!m_value->is_string())
        fail("must be a text");
    return m_value->get<std::string>();
}

bool JsonValue::flag() const
{
    if (!m_value->is_boolean())
        fail("must be true or false");
    return m_value->get<bool>();
}

std::int64_t JsonValue::integer(std::int64_t least, std::int64_t most) const
{
    if (!m_value->is_number_integer())
        fail("must be a whole number");
    const bool isHuge = m_value->is_number_unsigned() && m_value->get<std::uint64_t>() > INT64_MAX;
    const auto value = isHuge ? INT64_MAX : m_value->get<std::int64_t>();
    if (isHuge || value < least || value > most)
        fail(rangeText(std::to_string(least), std::to_string(most)));
    return value;
}

double JsonValue::number(double least, double most) const
{
    if (!m_value->is_number())
        fail("must be a number");
    const auto value = m_value->get<double>();
    if (value < least || value > most)
        fail(rangeText(nlohmann::json(least).dump(), nlohmann::json(most).dump()));
    return value;
}

std::vector<JsonValue> JsonValue::items() const
{
    if (!m_value->is_array())
        fail("must be a list");
    std::vector<JsonValue> all;
    for (const auto &item : *m_value)
        all.emplace_back(item, m_path + "[" + std::to_string(all.size()) + "]", *m_lines);
    return all;
}

std::vector<std::pair<std::string, JsonValue>> JsonValue::members() const
{
    if (!m_value->is_object())
        fail("must be an object");
    std::vector<std::pair<std::string, JsonValue>> all;
    for (const auto &[name, value] : m_value->items())
        all.emplace_back(name, JsonValue(value, pathOf(m_path, name), *m_lines));
    return all;
}

std::optional<JsonValue> JsonValue::member(const std::string &name) const
{
    const auto found = m_value->find(name);
    if (found == m_value->end())
        return std::nullopt;
    return JsonValue(*found, pathOf(m_path, name), *m_lines);
}

void JsonValue::requireKeysAmong(const std::vector<std::string> &names) const
{
    for (const auto &[name, value] : members()) {
        if (std::find(names.begin(), names.end(), name) == names.end())
            value.fail("there is no such key here; there are " + listOf(names));
    }
}

void JsonValue::fail(const std::string &message) const
{
    throw ScenarioError{m_path, line(), message};
}

std::string listOf(const std::vector<std::string> &names)
{
    std::string text;
    for (const std::string &name : names)
        text += (text.empty() ? "" : ", ") + name;
    return text;
}

JsonDocument::JsonDocument(const std::string &text)
{
    Place place;
    LineRecorder recorder(place, m_lines);
    const TextIterator begin(text.data(), place);
    const TextIterator end(text.data() + text.size(), place);
    if (!json::sax_parse(begin, end, &recorder))
        throw recorder.error;
    m_json = json::parse(text);
}

}  // namespace nubrix::virtual_camera
