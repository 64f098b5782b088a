// The exported special members of the public abstract classes. They hold no
// data: a copy builds a fresh object and an assignment copies nothing.
#include "orvane64.h"

namespace Orvane {

#define ORVANE_EMPTY_ABSTRACT_CLASS(Class)                      \
    Class::Class() = default;                                  \
    Class::Class(const Class&) : Class() {}                    \
    Class::~Class() = default;                                 \
    Class& Class::operator=(const Class&) { return *this; }

ORVANE_EMPTY_ABSTRACT_CLASS(Address)
ORVANE_EMPTY_ABSTRACT_CLASS(Stream)
ORVANE_EMPTY_ABSTRACT_CLASS(Notifier)
ORVANE_EMPTY_ABSTRACT_CLASS(HTTPRequest)
ORVANE_EMPTY_ABSTRACT_CLASS(HTTPResponse)
ORVANE_EMPTY_ABSTRACT_CLASS(MIBConnection)

#undef ORVANE_EMPTY_ABSTRACT_CLASS

}  // namespace Orvane
