#include "host/parser/parser_entry.h"

#include "host/parser/parser_group.h"

#include <type_traits>
#include <utility>

ParserEntry::ParserEntry(CoreString const& name)
    : m_name(name)
{
}

ParserEntry::ParserEntry(ParserEntry&&) noexcept = default;

ParserEntry& ParserEntry::operator=(ParserEntry&&) noexcept = default;

ParserEntry::~ParserEntry() = default;

bool ParserEntry::is_value_bool(unsigned int index) const noexcept
{
    return holds<bool>(index);
}

bool ParserEntry::is_value_char(unsigned int index) const noexcept
{
    return holds<char>(index);
}

bool ParserEntry::is_value_double(unsigned int index) const noexcept
{
    return holds<double>(index);
}

bool ParserEntry::is_value_int(unsigned int index) const noexcept
{
    return holds<int>(index);
}

bool ParserEntry::is_value_string(unsigned int index) const noexcept
{
    return holds<CoreString>(index);
}

bool ParserEntry::is_value_group(unsigned int index) const noexcept
{
    return holds<std::unique_ptr<ParserGroup>>(index);
}

bool ParserEntry::get_bool(unsigned int index) const
{
    return get_number(index).get_bool();
}

char ParserEntry::get_char(unsigned int index) const
{
    int const code = get_number(index).get_int();
    return code >= -128 && code <= 255 ? static_cast<char>(code) : '\0';
}

double ParserEntry::get_double(unsigned int index) const
{
    return get_number(index).get_double();
}

int ParserEntry::get_int(unsigned int index) const
{
    return get_number(index).get_int();
}

CoreString ParserEntry::get_string(unsigned int index) const
{
    if (is_value_string(index))
        return std::get<CoreString>(m_values[index]);
    if (is_value_char(index))
        return CoreString() + std::get<char>(m_values[index]);
    return get_number(index).get_string();
}

ParserGroup* ParserEntry::get_group(unsigned int index) const noexcept
{
    return is_value_group(index) ? std::get<std::unique_ptr<ParserGroup>>(m_values[index]).get() : nullptr;
}

void ParserEntry::add_value(Value value)
{
    m_values.push_back(std::move(value));
}

CoreVariant ParserEntry::get_number(unsigned int index) const
{
    if (index >= m_values.size())
        return {};
    return std::visit(
        [](auto const& value) -> CoreVariant {
            using Kind = std::decay_t<decltype(value)>;
            if constexpr (std::is_same_v<Kind, char>)
                return static_cast<int>(value);
            else if constexpr (std::is_arithmetic_v<Kind>)
                return value;
            else
                return {};
        },
        m_values[index]);
}
