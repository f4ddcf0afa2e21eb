#include <gtest/gtest.h>
#include <pugixml.hpp>

#include "sim/xml/XmlNames.h"
#include "sim/xml/XmlWriter.h"

namespace vms::sim {
namespace {

TEST(XmlNames, TheNearestDeclarationOfAPrefixCounts) {
    pugi::xml_document document;
    ASSERT_TRUE(document.load_string(R"(<a:r xmlns:a="one" xmlns="none">
        <a:x xmlns:a="two"><a:y/><z/></a:x><a:x>outer</a:x></a:r>)"));
    const pugi::xml_node root = document.document_element();

    EXPECT_TRUE(NameOf(root).Is("one", "r"));
    const pugi::xml_node inner = FindChild(root, "two", "x");
    EXPECT_TRUE(FindChild(inner, "two", "y"));
    EXPECT_FALSE(FindChild(inner, "one", "y"));
    EXPECT_TRUE(FindChild(inner, "none", "z"));
    EXPECT_EQ(ChildText(root, "one", "x"), "outer");
}

TEST(XmlNames, QNamesInTextResolveWhereTheyStand) {
    pugi::xml_document document;
    ASSERT_TRUE(document.load_string(R"(<r xmlns:p="space" xmlns:pp="other"/>)"));
    const pugi::xml_node root = document.document_element();

    EXPECT_TRUE(ResolveQName(root, " p:Name\n").Is("space", "Name"));
    EXPECT_TRUE(ResolveQName(root, "pp:Name").Is("other", "Name"));
    EXPECT_TRUE(ResolveQName(root, "undeclared:Name").Is("", "Name"));
}

TEST(XmlWriter, ReferencesStandForLettersAlone) {
    EXPECT_EQ(ReferLetters("a&\xd0\xb0\xe9\x80\x9a\xf0\x9f\x93\xb7"), "a&&#1072;&#36890;&#128247;");
    EXPECT_EQ(ReferLetters("\xe4-\xe4\xb8"), "\xe4-\xe4\xb8");
}

TEST(XmlNames, AnUnprefixedAttributeIsInNoNamespace) {
    pugi::xml_document document;
    ASSERT_TRUE(document.load_string(R"(<r xmlns="s" xmlns:q="s" flag="plain" q:flag="mine"/>)"));
    EXPECT_EQ(AttributeOf(document.document_element(), "s", "flag"), "mine");
}

TEST(XmlWriter, DeclaresANamespaceOnceInItsScopeAndAgainOutside) {
    XmlStyle style;
    style.declaration = false;
    style.prefixes = {{"urn:a", "a"}, {"urn:b", "b"}};
    XmlWriter out(style);
    {
        XmlScope root(out, "urn:a", "r");
        {
            XmlScope first(out, "urn:b", "x");
            out.Leaf("urn:b", "y", "1 < 2");
        }
        out.Leaf("urn:b", "z", "");
    }
    EXPECT_EQ(out.Take(), R"(<a:r xmlns:a="urn:a"><b:x xmlns:b="urn:b"><b:y>1 &lt; 2</b:y></b:x>)"
                          R"(<b:z xmlns:b="urn:b"/></a:r>)");
}

TEST(XmlWriter, SwitchesTheDefaultNamespaceBackAndForth) {
    XmlStyle style;
    style.declaration = false;
    style.prefixes = {{"urn:a", ""}, {"urn:b", ""}};
    XmlWriter out(style);
    {
        XmlScope root(out, "urn:a", "r");
        XmlScope inner(out, "urn:b", "x");
        out.Leaf("urn:a", "y", "");
    }
    EXPECT_EQ(out.Take(), R"(<r xmlns="urn:a"><x xmlns="urn:b"><y xmlns="urn:a"/></x></r>)");
}

}  // namespace
}  // namespace vms::sim
