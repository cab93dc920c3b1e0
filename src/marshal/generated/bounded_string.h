#pragma once

#include "marshal/sequence/sequence_element.h"
#include "marshal/text/vstr.h"
#include "marshal/text/vstream.h"

#include <concepts>
#include <utility>

namespace harbolance {

inline CORBA_ULong textLength(const char* text) {
    return text ? static_cast<CORBA_ULong>(std::char_traits<char>::length(text)) : 0;
}
inline CORBA_ULong textLength(const CORBA_WChar* text) {
    return text ? static_cast<CORBA_ULong>(std::char_traits<CORBA_WChar>::length(text)) : 0;
}

// A string or wide string of at most `bound` characters on a stream. A longer one can be held but raises
// CORBA_BAD_PARAM when it is written; a longer one in a stream raises CORBA_MARSHAL.
template <class Text, CORBA_ULong bound>
class BoundedText : public TRXStringHolder<Text> {
public:
    using TRXStringHolder<Text>::TRXStringHolder;
    using TRXStringHolder<Text>::operator=;
};

template <CORBA_ULong bound>
using BoundedString = BoundedText<TRXNarrowText, bound>;
template <CORBA_ULong bound>
using BoundedWString = BoundedText<TRXWideText, bound>;

// A template for all stream classes, since the operator for the base class would not be preferred to a
// stream's own operator for plain strings.
template <std::derived_from<TRXostream> Stream, class Text, CORBA_ULong bound>
TRXostream& operator<<(Stream& stream, const BoundedText<Text, bound>& text) {
    if (textLength(text.in()) > bound)
        throw CORBA_BAD_PARAM();
    return stream << text.in();
}

template <class Text, CORBA_ULong bound>
TRXistream& operator>>(TRXistream& stream, BoundedText<Text, bound>& text) {
    // Read into another holder, so that the old text remains when the new one is too long.
    TRXStringHolder<Text> read;
    stream >> read;
    if (textLength(read.in()) > bound)
        throw CORBA_MARSHAL();
    static_cast<TRXStringHolder<Text>&>(text) = std::move(read);
    return stream;
}

// Strings of either width as elements of a sequence. Bound 0 means no bound.
template <class Text, CORBA_ULong bound>
struct TextElement {
    using Stored = typename Text::Char*;
    using Reference = TRXPointerElement<TextElement>;
    using ConstReference = const typename Text::Char*;
    static constexpr bool plain = false;
    static constexpr bool pointer = true;
    static constexpr CORBA_ULong minimumOctets = 4;

    static Stored copy(ConstReference text) { return Text::dup(text); }
    static void free(Stored& text) { Text::free(std::exchange(text, nullptr)); }
    static void read(TRXistream& stream, Stored& text) {
        BoundedText<Text, bound == 0 ? UINT32_MAX : bound> read;
        stream >> read;
        // Freed after reading, so that the old element remains when the stream raises.
        free(text);
        text = read._retn();
    }
    static void write(TRXostream& stream, ConstReference text) {
        if (bound != 0 && textLength(text) > bound)
            throw CORBA_BAD_PARAM();
        stream << text;
    }
};

template <CORBA_ULong bound>
using BoundedStringElement = TextElement<TRXNarrowText, bound>;
template <CORBA_ULong bound = 0>
using WStringElement = TextElement<TRXWideText, bound>;

} // namespace harbolance
