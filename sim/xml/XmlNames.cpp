#include "sim/xml/XmlNames.h"

namespace vms::sim {

namespace {

constexpr std::string_view kXmlNamespace = "http://www.w3.org/XML/1998/namespace";

struct Split {
    std::string_view prefix;
    std::string_view local;
};

Split SplitName(std::string_view name) {
    const size_t colon = name.find(':');
    if (colon == std::string_view::npos)
        return {"", name};
    return {name.substr(0, colon), name.substr(colon + 1)};
}

bool DeclaresPrefix(const pugi::xml_attribute& attribute, std::string_view prefix) {
    const std::string_view name = attribute.name();
    if (prefix.empty())
        return name == "xmlns";
    return name.size() == prefix.size() + 6 && name.substr(0, 6) == "xmlns:" &&
           name.substr(6) == prefix;
}

}  // namespace

std::string_view Trim(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n";
    const size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::string LookUpPrefix(pugi::xml_node node, std::string_view prefix) {
    if (prefix == "xml")
        return std::string(kXmlNamespace);
    for (; node; node = node.parent()) {
        for (const pugi::xml_attribute& attribute : node.attributes()) {
            if (DeclaresPrefix(attribute, prefix))
                return attribute.value();
        }
    }
    return {};
}

XmlName ResolveQName(pugi::xml_node node, std::string_view text) {
    const Split split = SplitName(Trim(text));
    return {LookUpPrefix(node, split.prefix), std::string(split.local)};
}

XmlName NameOf(pugi::xml_node node) {
    return ResolveQName(node, node.name());
}

pugi::xml_node FindChild(pugi::xml_node parent, std::string_view space, std::string_view local) {
    for (const pugi::xml_node& child : parent.children()) {
        // The local part is compared first: resolving a prefix walks up to the root.
        if (child.type() == pugi::node_element && SplitName(child.name()).local == local &&
            NameOf(child).space == space)
            return child;
    }
    return {};
}

std::string ChildText(pugi::xml_node parent, std::string_view space, std::string_view local) {
    return std::string(Trim(FindChild(parent, space, local).text().get()));
}

std::string AttributeOf(pugi::xml_node node, std::string_view space, std::string_view local) {
    for (const pugi::xml_attribute& attribute : node.attributes()) {
        const Split split = SplitName(attribute.name());
        // An attribute without a prefix is in no namespace, whatever the default one is.
        if (split.local == local && !split.prefix.empty() &&
            LookUpPrefix(node, split.prefix) == space)
            return attribute.value();
    }
    return {};
}

}  // namespace vms::sim
