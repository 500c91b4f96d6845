#include "FormatSpecifiers.h"
#include "QtPrinters.h"
#include "SafeFilename.h"

#include <gtest/gtest.h>

namespace {

TEST(SafeFilename, ReplacesTheChosenSetsByTheCleanedReplacement)
{
    const QString all = QStringLiteral("a<b>c:d\"e/f\\g|h?i*j+k=l[m]n,o;p");
    SafeFilename::Options options;
    options.windowsSafe = false;
    EXPECT_EQ(SafeFilename::make(all, options), "a<b>c:d\"e:f\\g|h?i*j+k=l[m]n,o;p");
    options.windowsSafe = true;
    EXPECT_EQ(SafeFilename::make(all, options), "a_b_c_d_e_f_g_h_i_j+k=l[m]n,o;p");
    options.smbSafe = true;
    EXPECT_EQ(SafeFilename::make(all, options), "a_b_c_d_e_f_g_h_i_j_k_l_m_n_o_p");
    // The replacement loses the characters of both sets, even with SMB off.
    options.smbSafe = false;
    options.replacement = QStringLiteral("[-]");
    EXPECT_EQ(SafeFilename::make(QStringLiteral("1/2"), options), "1_-_2");
    options.replacement = QString();
    EXPECT_EQ(SafeFilename::make(QStringLiteral("?who*/"), options), "who");
}

TEST(FormatSpecifiers, OperationsByName)
{
    using namespace FormatSpecifiers;
    const QStringList tokens{QStringLiteral("a"), QStringLiteral("b")};
    EXPECT_EQ(rangeOfDeepestBracketContainingAnyFormatSpecifier(u"x{a}{b}", tokens), (Range{4, 3}));
    EXPECT_EQ(rangeOfDeepestBracketContainingAnyFormatSpecifier(u"{b{a}}", tokens), (Range{2, 3}));
    EXPECT_EQ(rangeOfDeepestBracketContainingAnyFormatSpecifier(u"{a}{{z}}", tokens), (Range{0, 3}));
    EXPECT_EQ(rangeOfDeepestBracketContainingAnyFormatSpecifier(u"{{z}}{a}", tokens), std::nullopt);
    EXPECT_EQ(rangeOfDeepestBracketContainingAnyFormatSpecifier(u"", tokens), std::nullopt);
    EXPECT_EQ(rangeOfDeepestBracketContainingAnyFormatSpecifier(u"a}", tokens), std::nullopt);

    QString s = QStringLiteral("{a-a}{b}{a}");
    replaceFormatSpecifier(s, u"a", u"XY");
    EXPECT_EQ(s, "XY-XY{b}XY");
    s = QStringLiteral("{a}{a}{a}");
    replaceFormatSpecifier(s, u"a", u"1", Range{3, 3});
    EXPECT_EQ(s, "{a}1{a}");
    s = QStringLiteral("}{a} {b}{a}");
    removeFormatSpecifier(s, u"a");
    EXPECT_EQ(s, "} {b}");
    s = QStringLiteral("{a}{a}");
    removeFormatSpecifier(s, u"a", Range{0, 3});
    EXPECT_EQ(s, "{a}");
}

} // namespace
