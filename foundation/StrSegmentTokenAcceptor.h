#pragma once

#include <vector>

#include "foundation/StrSegment.h"

class Str;

// Sink of the tokens that StrSegment::split produces.
class StrSegmentTokenAcceptor {
public:
    virtual ~StrSegmentTokenAcceptor();
    virtual void accept(const StrSegment& token) = 0;
};

// Appends a Str copy of each token.
class acceptor_PopulateStrVector : public StrSegmentTokenAcceptor {
public:
    explicit acceptor_PopulateStrVector(std::vector<Str>& target) : out(target) {}
    void accept(const StrSegment& token) override;

private:
    std::vector<Str>& out;
};

// Appends the token itself; valid while the split text is.
class acceptor_PopulateStrSegmentVector : public StrSegmentTokenAcceptor {
public:
    explicit acceptor_PopulateStrSegmentVector(std::vector<StrSegment>& target) : out(target) {}
    void accept(const StrSegment& token) override;

private:
    std::vector<StrSegment>& out;
};
