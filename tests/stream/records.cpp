#include "stream/records.h"

const NCTypeInfo Counted::info("TestAbstract", nullptr, {&NCObject::info});
const NCTypeInfo TestNode::info("TestNode", ncCreate<TestNode>, {&Counted::info});
const NCTypeInfo TestLeaf::info("TestLeaf", ncCreate<TestLeaf>, {&Counted::info});
const NCTypeInfo TestPair::info("TestPair", ncCreate<TestPair>, {&Counted::info});
const NCTypeInfo TestBlock::info("TestBlock", ncCreate<TestBlock>, {&Counted::info});
