#include "foundation/StrSegmentTokenAcceptor.h"

#include "foundation/Str.h"

StrSegmentTokenAcceptor::~StrSegmentTokenAcceptor() = default;

void acceptor_PopulateStrVector::accept(const StrSegment& token)
{
    out.emplace_back(token);
}

void acceptor_PopulateStrSegmentVector::accept(const StrSegment& token)
{
    out.push_back(token);
}
