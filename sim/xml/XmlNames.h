#pragma once

#include <string>
#include <string_view>

#include <pugixml.hpp>

namespace vms::sim {

/// A name with its prefix replaced by the namespace that the prefix stands for.
struct XmlName {
    std::string space;  ///< namespace URI, "" for none
    std::string local;

    bool Is(std::string_view wantedSpace, std::string_view wantedLocal) const {
        return space == wantedSpace && local == wantedLocal;
    }
};

/// Namespace that `prefix` ("" for the default one) stands for at `node`; "" when undeclared.
std::string LookUpPrefix(pugi::xml_node node, std::string_view prefix);

XmlName NameOf(pugi::xml_node node);

/// Resolves a name written as text, such as an entry of a Types list; blanks around it are dropped.
XmlName ResolveQName(pugi::xml_node node, std::string_view text);

/// First child element of that name, or a null node.
pugi::xml_node FindChild(pugi::xml_node parent, std::string_view space, std::string_view local);

/// Text of the first child of that name without surrounding blanks; "" when absent.
std::string ChildText(pugi::xml_node parent, std::string_view space, std::string_view local);

/// Value of an attribute in a namespace, e.g. mustUnderstand; "" when absent.
std::string AttributeOf(pugi::xml_node node, std::string_view space, std::string_view local);

std::string_view Trim(std::string_view text);

}  // namespace vms::sim
