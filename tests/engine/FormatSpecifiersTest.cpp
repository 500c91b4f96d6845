#include "FormatSpecifiers.h"
#include "QtPrinters.h"
#include "SafeFilename.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

TEST(SafeFilename, ReplacesTheChosenSetsByTheCleanedReplacement)
{
    const QString all = u"a<b>c:d\"e/f\\g|h?i*j+k=l[m]n,o;p"_s;
    SafeFilename::Options options;
    options.windowsSafe = false;
    EXPECT_EQ(SafeFilename::make(all, options), "a<b>c:d\"e:f\\g|h?i*j+k=l[m]n,o;p");
    options.windowsSafe = true;
    EXPECT_EQ(SafeFilename::make(all, options), "a_b_c_d_e_f_g_h_i_j+k=l[m]n,o;p");
    options.smbSafe = true;
    EXPECT_EQ(SafeFilename::make(all, options), "a_b_c_d_e_f_g_h_i_j_k_l_m_n_o_p");
    // The replacement loses the characters of both sets, even with SMB off.
    options.smbSafe = false;
    options.replacement = u"[-]"_s;
    EXPECT_EQ(SafeFilename::make(u"1/2"_s, options), "1_-_2");
    options.replacement = QString();
    EXPECT_EQ(SafeFilename::make(u"?who*/"_s, options), "who");
}

TEST(FormatSpecifiers, OperationsByName)
{
    using namespace FormatSpecifiers;
    const QStringList tokens{u"a"_s, u"b"_s};
    EXPECT_EQ(rangeOfDeepestBracketContainingAnyFormatSpecifier(u"x{a}{b}", tokens), (Range{4, 3}));
    EXPECT_EQ(rangeOfDeepestBracketContainingAnyFormatSpecifier(u"{b{a}}", tokens), (Range{2, 3}));
    EXPECT_EQ(rangeOfDeepestBracketContainingAnyFormatSpecifier(u"{a}{{z}}", tokens), (Range{0, 3}));
    EXPECT_EQ(rangeOfDeepestBracketContainingAnyFormatSpecifier(u"{{z}}{a}", tokens), std::nullopt);
    EXPECT_EQ(rangeOfDeepestBracketContainingAnyFormatSpecifier(u"", tokens), std::nullopt);
    EXPECT_EQ(rangeOfDeepestBracketContainingAnyFormatSpecifier(u"a}", tokens), std::nullopt);

    QString s = u"{a-a}{b}{a}"_s;
    replaceFormatSpecifier(s, u"a", u"XY");
    EXPECT_EQ(s, "XY-XY{b}XY");
    s = u"{a}{a}{a}"_s;
    replaceFormatSpecifier(s, u"a", u"1", Range{3, 3});
    EXPECT_EQ(s, "{a}1{a}");
    s = u"}{a} {b}{a}"_s;
    removeFormatSpecifier(s, u"a");
    EXPECT_EQ(s, "} {b}");
    s = u"{a}{a}"_s;
    removeFormatSpecifier(s, u"a", Range{0, 3});
    EXPECT_EQ(s, "{a}");
}

} // namespace
