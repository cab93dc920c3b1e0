#pragma once

// The regular expression that selects repository ids. The process has one at a time, in the syntax that the
// platform's re_comp takes by default.

// False when the expression is not valid.
bool compileExpression(const char* expression);

// Whether the expression matches anywhere in the text.
bool expressionMatches(const char* text);
