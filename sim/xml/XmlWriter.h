#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace vms::sim {

/// How a document looks without changing what it says.
struct XmlStyle {
    bool indent = false;
    char quote = '"';
    bool declaration = true;
    bool references = false;  ///< letters beyond ASCII as character references
    std::map<std::string, std::string, std::less<>>
        prefixes;  ///< namespace -> prefix, "" = default
};

/// Writes XML with namespaces. A namespace is declared on the first element that needs it and is
/// not in scope, so a caller decides where declarations go only by calling Declare() early.
class XmlWriter {
public:
    explicit XmlWriter(const XmlStyle& style);

    void Open(std::string_view space, std::string_view local);
    void Close();
    /// Opens, writes the text and closes.
    void Leaf(std::string_view space, std::string_view local, std::string_view text);

    /// Attributes and declarations belong to the element opened last, before any content.
    void Attribute(std::string_view name, std::string_view value);
    void Attribute(std::string_view space, std::string_view local, std::string_view value);
    void Declare(std::string_view space);
    /// Prefixed name as text; declares the namespace on the element just opened if necessary.
    std::string QName(std::string_view space, std::string_view local);

    void Text(std::string_view text);
    void CData(std::string_view text);
    void Comment(std::string_view text);
    /// Markup that is written unchanged.
    void Raw(std::string_view markup);

    /// The document; every element must have been closed.
    std::string Take();

private:
    std::string Escaped(std::string_view text) const;
    struct Frame {
        std::string name;
        size_t declarations;
        bool hasElements;
    };

    std::string PrefixFor(std::string_view space) const;
    bool InScope(std::string_view prefix, std::string_view space) const;
    void WriteDeclaration(const std::string& prefix, std::string_view space);
    void EndStartTag();
    void NewLine(size_t depth);

    const XmlStyle& style_;
    std::string out_;
    std::vector<Frame> frames_;
    std::vector<std::pair<std::string, std::string>> declared_;
    bool startTagOpen_ = false;
};

/// An element that lasts for a scope.
class XmlScope {
public:
    XmlScope(XmlWriter& writer, std::string_view space, std::string_view local) : writer_(writer) {
        writer_.Open(space, local);
    }
    ~XmlScope() { writer_.Close(); }
    XmlScope(const XmlScope&) = delete;
    XmlScope& operator=(const XmlScope&) = delete;

private:
    XmlWriter& writer_;
};

std::string EscapeXml(std::string_view text);
/// Replaces each UTF-8 letter beyond ASCII by its character reference; other bytes stay.
std::string ReferLetters(std::string_view text);

}  // namespace vms::sim
