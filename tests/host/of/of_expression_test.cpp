#include "host/of/of_expression.h"

#include "host/of/of_object_factory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace {

struct PathCase {
    char const* name;
    char const* path;
    char const* expected;
};

class OfExpressionPath : public testing::TestWithParam<PathCase> {};

TEST_P(OfExpressionPath, HasItsVariablesReplaced)
{
    OfObjectFactory factory;
    factory.get_vars().set("PROJECT", "/show");
    factory.get_vars().set("SHOT", "sh_010");
    factory.get_vars().set("PLATES", "$PROJECT/${SHOT}/plates");
    factory.get_vars().set("odd name", "odd");
    factory.get_vars().set("EMPTY", "");
    ::setenv("ZV_TEST_ROOT", "/environment", 1);
    ::setenv("SHOT", "hidden by the variable", 1);
    ::unsetenv("ZV_TEST_UNKNOWN");

    EXPECT_EQ(OfExpression::compute_path(GetParam().path, factory), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Paths, OfExpressionPath,
    testing::Values(PathCase{"plain", "/a/b.exr", "/a/b.exr"}, PathCase{"empty", "", ""},
                    PathCase{"bare_name", "$PROJECT/a.exr", "/show/a.exr"},
                    PathCase{"braces", "/x/${SHOT}_bg.exr", "/x/sh_010_bg.exr"},
                    PathCase{"nested", "$PLATES/a.exr", "/show/sh_010/plates/a.exr"},
                    PathCase{"environment", "$ZV_TEST_ROOT/a", "/environment/a"},
                    PathCase{"any_name_in_braces", "${odd name}", "odd"},
                    PathCase{"empty_value", "a${EMPTY}b", "ab"},
                    PathCase{"unknown", "$ZV_TEST_UNKNOWN/a", "$ZV_TEST_UNKNOWN/a"},
                    PathCase{"unknown_in_braces", "${ZV_TEST_UNKNOWN}/a", "${ZV_TEST_UNKNOWN}/a"},
                    PathCase{"not_closed", "${SHOT/a", "${SHOT/a"}, PathCase{"at_the_end", "a$", "a$"},
                    PathCase{"no_name", "$/a", "$/a"}, PathCase{"empty_braces", "${}", "${}"},
                    PathCase{"dollar", "$$SHOT", "$SHOT"}),
    [](auto const& run) { return run.param.name; });

TEST(OfExpression, AVariableThatNamesItselfEnds)
{
    OfObjectFactory factory;
    factory.get_vars().set("LOOP", "x$LOOP");

    EXPECT_EQ(OfExpression::compute_path("$LOOP", factory), (std::string(16, 'x') + "$LOOP").c_str());
}

TEST(OfExpression, VariablesThatMultiplyStayBounded)
{
    OfObjectFactory factory;
    for (int i = 0; i < 15; ++i) {
        CoreString value;
        for (int k = 0; k < 20; ++k)
            value += CoreString("$V") + (i + 1) + "/";
        factory.get_vars().set(CoreString("V") + i, value);
    }
    factory.get_vars().set("V15", "end");

    EXPECT_LT(OfExpression::compute_path("$V0", factory).get_count(), 200'000u);
}

}  // namespace
