#pragma once

#include <host/terminal/Output.h>

class MMeshCorrespondenceChecker;

namespace ketmesh {

// How mesh and surface correspond, as reports give it.
Json MatchCountsOf(MMeshCorrespondenceChecker const& checker);

} // namespace ketmesh
