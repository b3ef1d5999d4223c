#include "host/of/of_expression.h"

#include "host/of/of_object_factory.h"

#include <cstdlib>
#include <optional>

namespace {

constexpr int kDepthLimit = 16;
/// Variables that name each other could make a text of any size; a path needs far fewer replacements.
constexpr int kReplacementLimit = 1024;

bool is_name_character(char character) noexcept
{
    return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z') ||
           (character >= '0' && character <= '9') || character == '_';
}

/// Replaces the variables of one text, and those in their values.
class Expander {
public:
    explicit Expander(OfVars const& variables)
        : m_variables(variables)
    {
    }

    void expand(std::string_view text, int depth, CoreString& result)
    {
        while (!text.empty()) {
            std::size_t const plain = std::min(text.find('$'), text.size());
            result += text.substr(0, plain);
            text.remove_prefix(plain);
            if (!text.empty())
                text.remove_prefix(expand_one(text, depth, result));
        }
    }

private:
    /// `text` begins with a dollar sign. Appends what it stands for, and gives the bytes that it takes.
    std::size_t expand_one(std::string_view text, int depth, CoreString& result)
    {
        if (text.starts_with("$$")) {
            result += '$';
            return 2;
        }
        bool const is_braced = text.starts_with("${");
        std::size_t const first = is_braced ? 2 : 1;
        std::size_t end = first;
        while (end < text.size() && (is_braced ? text[end] != '}' : is_name_character(text[end])))
            ++end;
        bool const is_whole = end > first && (!is_braced || end < text.size());
        std::size_t const taken = is_whole && is_braced ? end + 1 : end;
        std::optional<CoreString> const value =
            is_whole ? value_of(CoreString(text.substr(first, end - first))) : std::nullopt;
        if (value && depth < kDepthLimit && ++m_replacements <= kReplacementLimit)
            expand(value->view(), depth + 1, result);
        else
            result += text.substr(0, taken);
        return taken;
    }

    std::optional<CoreString> value_of(CoreString const& name) const
    {
        if (OfAttr const* const variable = m_variables.get(name))
            return variable->get_string(0, 0, true);
        if (char const* const value = std::getenv(name.get_data()))
            return CoreString(value);
        return std::nullopt;
    }

    OfVars const& m_variables;
    int m_replacements = 0;
};

}  // namespace

CoreString OfExpression::compute_path(CoreString const& path, OfObjectFactory const& factory)
{
    CoreString result;
    Expander(factory.get_vars()).expand(path.view(), 0, result);
    return result;
}
