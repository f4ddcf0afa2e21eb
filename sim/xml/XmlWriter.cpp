#include "sim/xml/XmlWriter.h"

#include <utility>

namespace vms::sim {

std::string EscapeXml(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            case '\'':
                out += "&apos;";
                break;
            default:
                out += c;
        }
    }
    return out;
}

namespace {

// Bytes of the letter that begins with `lead`; 0 when none does.
size_t LetterLength(unsigned char lead) {
    if (lead >= 0xC2 && lead <= 0xDF)
        return 2;
    if (lead >= 0xE0 && lead <= 0xEF)
        return 3;
    return lead >= 0xF0 && lead <= 0xF4 ? 4 : 0;
}

bool IsLetter(std::string_view bytes, size_t length) {
    if (length == 0 || bytes.size() != length)
        return false;
    for (const char c : bytes.substr(1)) {
        if ((static_cast<unsigned char>(c) & 0xC0) != 0x80)
            return false;
    }
    return true;
}

unsigned long CodeOf(std::string_view letter) {
    unsigned long code = static_cast<unsigned char>(letter.front()) & (0x7F >> letter.size());
    for (const char c : letter.substr(1))
        code = code << 6 | (static_cast<unsigned char>(c) & 0x3F);
    return code;
}

}  // namespace

std::string ReferLetters(std::string_view text) {
    std::string out;
    while (!text.empty()) {
        const size_t length = LetterLength(static_cast<unsigned char>(text.front()));
        const std::string_view letter = text.substr(0, length);
        const bool refer = IsLetter(letter, length);
        if (refer)
            out += "&#" + std::to_string(CodeOf(letter)) + ';';
        else
            out += text.front();
        text.remove_prefix(refer ? length : 1);
    }
    return out;
}

XmlWriter::XmlWriter(const XmlStyle& style) : style_(style) {
    if (style_.declaration)
        out_ = R"(<?xml version="1.0" encoding="UTF-8"?>)";
}

std::string XmlWriter::PrefixFor(std::string_view space) const {
    const auto found = style_.prefixes.find(space);
    return found == style_.prefixes.end() ? "ns0" : found->second;
}

bool XmlWriter::InScope(std::string_view prefix, std::string_view space) const {
    for (auto entry = declared_.rbegin(); entry != declared_.rend(); ++entry) {
        if (entry->first == prefix)
            return entry->second == space;
    }
    return false;
}

void XmlWriter::WriteDeclaration(const std::string& prefix, std::string_view space) {
    declared_.emplace_back(prefix, space);
    Attribute(prefix.empty() ? "xmlns" : "xmlns:" + prefix, space);
}

void XmlWriter::Declare(std::string_view space) {
    const std::string prefix = PrefixFor(space);
    if (!InScope(prefix, space))
        WriteDeclaration(prefix, space);
}

void XmlWriter::EndStartTag() {
    if (startTagOpen_)
        out_ += '>';
    startTagOpen_ = false;
}

void XmlWriter::NewLine(size_t depth) {
    if (style_.indent && !out_.empty())
        out_.append("\n").append(depth * 2, ' ');
}

void XmlWriter::Open(std::string_view space, std::string_view local) {
    EndStartTag();
    if (!frames_.empty())
        frames_.back().hasElements = true;
    NewLine(frames_.size());
    const std::string prefix = PrefixFor(space);
    std::string name = prefix.empty() ? std::string(local) : prefix + ':' + std::string(local);
    out_.append("<").append(name);
    frames_.push_back({std::move(name), declared_.size(), false});
    startTagOpen_ = true;
    Declare(space);
}

void XmlWriter::Close() {
    const Frame frame = std::move(frames_.back());
    frames_.pop_back();
    declared_.resize(frame.declarations);
    if (startTagOpen_) {
        out_ += "/>";
        startTagOpen_ = false;
        return;
    }
    if (frame.hasElements)
        NewLine(frames_.size());
    out_.append("</").append(frame.name).append(">");
}

void XmlWriter::Leaf(std::string_view space, std::string_view local, std::string_view text) {
    Open(space, local);
    Text(text);
    Close();
}

std::string XmlWriter::Escaped(std::string_view text) const {
    return style_.references ? ReferLetters(EscapeXml(text)) : EscapeXml(text);
}

void XmlWriter::Attribute(std::string_view name, std::string_view value) {
    out_.append(" ").append(name).append("=") += style_.quote;
    out_.append(Escaped(value)) += style_.quote;
}

void XmlWriter::Attribute(std::string_view space, std::string_view local, std::string_view value) {
    const std::string name = QName(space, local);
    Attribute(name, value);
}

std::string XmlWriter::QName(std::string_view space, std::string_view local) {
    Declare(space);
    const std::string prefix = PrefixFor(space);
    return prefix.empty() ? std::string(local) : prefix + ':' + std::string(local);
}

void XmlWriter::Text(std::string_view text) {
    if (!text.empty())
        Raw(Escaped(text));
}

void XmlWriter::CData(std::string_view text) {
    Raw(std::string("<![CDATA[").append(text).append("]]>"));
}

void XmlWriter::Comment(std::string_view text) {
    Raw(std::string("<!-- ").append(text).append(" -->"));
}

void XmlWriter::Raw(std::string_view markup) {
    EndStartTag();
    out_.append(markup);
}

std::string XmlWriter::Take() {
    return std::exchange(out_, {});
}

}  // namespace vms::sim
