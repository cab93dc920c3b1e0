// The two calls are declared on demand only.
#define _REGEX_RE_COMP

#include "peerscan/expression.h"

#include <regex.h>

bool compileExpression(const char* expression) { return ::re_comp(expression) == nullptr; }

bool expressionMatches(const char* text) { return ::re_exec(text) == 1; }
