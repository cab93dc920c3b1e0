#pragma once

#include <functional>

class CORBA_Object;

// Asks for this process's location service and hands it, or nil, to a part of a listing, which says whether
// it got what it wanted. A CORBA_Exception, from the question or from that part, is told on the standard
// error stream and gives false: the listing then asks the agents itself.
bool withLocationService(const std::function<bool(CORBA_Object* service)>& part);
