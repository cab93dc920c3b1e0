#include "marshal/text/text_form.h"

#include "base/quoted_text.h"

#include <iostream>

using namespace harbolance;

bool readQuoted(std::istream& stream, std::string& text, CORBA_ULong limit) {
    switch (harbolance::readQuoted(stream, text, limit)) {
    case QuotedText::good: return true;
    case QuotedText::notQuoted:
        std::cerr << "TRXistream::getCString: Error reading Object "
                  << "from  stream. Make sure your 'write' "
                  << "function and constructor from stream are "
                  << "correct\n";
        return false;
    case QuotedText::tooLong: std::cerr << "TRXistream::getCString: String Overflow\n"; return false;
    case QuotedText::missing:
    case QuotedText::unfinished:
    case QuotedText::badEscape: std::cerr << "TRXistream::getCString: Unexpected EOF\n"; return false;
    }
    return false;
}
