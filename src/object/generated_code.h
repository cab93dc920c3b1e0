#pragma once

// Includes everything that generated code needs.

#include "marshal/cdr/members.h"
#include "marshal/exception/user_exception.h"
#include "marshal/generated/bounded_sequence.h"
#include "marshal/generated/bounded_string.h"
#include "marshal/generated/operators.h"
#include "marshal/generated/union.h"
#include "marshal/generated/value_var.h"
#include "marshal/sequence/octet_sequence.h"
#include "object/interface.h"
#include "object/operation.h"
#include "object/reused_argument.h"
