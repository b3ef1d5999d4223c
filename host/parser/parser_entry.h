#pragma once

#include "host/core/core_string.h"
#include "host/core/core_variant.h"

#include <memory>
#include <variant>
#include <vector>

class ParserGroup;

/// A name with any number of values, each of one of six kinds.
///
/// Getters convert what they can: numbers, bools (1, 0) and characters (their code) into each other, a double
/// into an int without its fraction, every single value into a text. What cannot be converted, and an index past the end,
/// gives false, 0, the empty text or null.
class ParserEntry {
public:
    /// One value. A character is an alternative of its own, apart from the numbers.
    using Value = std::variant<bool, char, int, double, CoreString, std::unique_ptr<ParserGroup>>;

    explicit ParserEntry(CoreString const& name);
    ParserEntry(ParserEntry&&) noexcept;
    ParserEntry& operator=(ParserEntry&&) noexcept;
    ~ParserEntry();

    CoreString const& get_name() const noexcept { return m_name; }
    bool has_value() const noexcept { return !m_values.empty(); }
    unsigned int get_value_count() const noexcept { return static_cast<unsigned int>(m_values.size()); }

    bool is_value_bool(unsigned int index = 0) const noexcept;
    bool is_value_char(unsigned int index = 0) const noexcept;
    bool is_value_double(unsigned int index = 0) const noexcept;
    bool is_value_int(unsigned int index = 0) const noexcept;
    bool is_value_string(unsigned int index = 0) const noexcept;
    bool is_value_group(unsigned int index = 0) const noexcept;

    bool get_bool(unsigned int index = 0) const;
    char get_char(unsigned int index = 0) const;
    double get_double(unsigned int index = 0) const;
    int get_int(unsigned int index = 0) const;
    CoreString get_string(unsigned int index = 0) const;
    /// The nested group, owned by the entry.
    ParserGroup* get_group(unsigned int index = 0) const noexcept;

    void add_value(Value value);

private:
    template <class T>
    bool holds(unsigned int index) const noexcept
    {
        return index < m_values.size() && std::holds_alternative<T>(m_values[index]);
    }
    /// The bool, character code or number at `index`; nothing for the other kinds.
    CoreVariant get_number(unsigned int index) const;

    CoreString m_name;
    std::vector<Value> m_values;
};
