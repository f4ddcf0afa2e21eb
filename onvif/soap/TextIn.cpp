// How the generated code reads the text of an element: soapC.cpp is compiled with soap_instring
// renamed to this.
//
// The engine's own reader decodes UTF-8 and encodes it again, and what is none (names in Latin-1 or
// GBK, seen in the field) comes out as other letters, with bytes and even markup swallowed. Here
// the bytes of a text pass as they are; only character references are turned into UTF-8.
#include <string>

#include "stdsoap2.h"

namespace {

/// What soap_get gives beside bytes: markup that is not in a CDATA section, and character
/// references as their code with the highest bit set, which is less than all of these.
enum Token : soap_wchar {
    kStartTag = -2,
    kEndTag = -3,
    kGreater = -4,
    kQuote = -5,
    kApostrophe = -6
};

/// The engine's name for plain text; others are qualified names.
constexpr int kPlainText = 1;
constexpr unsigned int kReplacement = 0xFFFD;
/// References to codes of six digits are longer than what the engine reads of one: it leaves the
/// semicolon behind.
constexpr unsigned int kSixDigits = 100000;

bool IsReference(soap_wchar c) {
    return c < kApostrophe;
}

bool IsCharacter(unsigned int code) {
    return code != 0 && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
}

char Continuation(unsigned int code, int shift) {
    return static_cast<char>(0x80 | ((code >> shift) & 0x3F));
}

void AppendUtf8(std::string& text, unsigned int code) {
    if (code < 0x80) {
        text += static_cast<char>(code);
    } else if (code < 0x800) {
        text += {static_cast<char>(0xC0 | code >> 6), Continuation(code, 0)};
    } else if (code < 0x10000) {
        text +=
            {static_cast<char>(0xE0 | code >> 12), Continuation(code, 6), Continuation(code, 0)};
    } else {
        text += {static_cast<char>(0xF0 | code >> 18), Continuation(code, 12),
                 Continuation(code, 6), Continuation(code, 0)};
    }
}

void AppendReference(soap* context, std::string& text, unsigned int code) {
    AppendUtf8(text, IsCharacter(code) ? code : kReplacement);
    if (code < kSixDigits)
        return;
    const soap_wchar next = soap_get(context);
    if (next != ';')
        soap_unget(context, next);
}

/// Text up to the next tag. @return null at the end of the message. Bounded by the context's limit
/// of a message.
char* ReadText(soap* context) {
    std::string text;
    for (;;) {
        const soap_wchar c = soap_get(context);
        if (c == EOF) {
            context->error = context->error != SOAP_OK ? context->error : SOAP_EOF;
            return nullptr;
        }
        if (c == kEndTag || c == kStartTag) {
            soap_unget(context, c);
            return soap_strdup(context, text.c_str());
        }
        if (IsReference(c))
            AppendReference(context, text, static_cast<unsigned int>(c) & 0x7FFFFFFF);
        else if (c == kGreater)
            text += '>';
        else if (c == kQuote)
            text += '"';
        else if (c == kApostrophe)
            text += '\'';
        else
            text += static_cast<char>(c);
    }
}

char* ReadContent(soap* context) {
    if (context->null)
        return nullptr;
    return context->body ? ReadText(context) : soap_strdup(context, "");
}

}  // namespace

/// Takes the place of soap_instring, with its arguments.
/// @return `target`, or a new one when it is null; null when the element is another or broken
extern "C" char** vms_soap_text_in(soap* context, const char* tag, char** target, const char* type,
                                   int typeId, int flag, long shortest, long longest,
                                   const char* pattern) {
    if (flag != kPlainText || tag == nullptr || *tag == '-')
        return soap_instring(context, tag, target, type, typeId, flag, shortest, longest, pattern);
    if (soap_element_begin_in(context, tag, 1, nullptr) != SOAP_OK)
        return nullptr;
    if (target == nullptr)
        target = static_cast<char**>(soap_malloc(context, sizeof(char*)));
    if (target == nullptr)
        return nullptr;
    *target = ReadContent(context);
    const bool failed = *target == nullptr && !context->null;
    if (failed || (context->body && soap_element_end_in(context, tag) != SOAP_OK))
        return nullptr;
    return target;
}
