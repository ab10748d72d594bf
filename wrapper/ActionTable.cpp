#include "QarActionTable.h"
#include "wrapper/ActionNames.h"

// Built by the load-time initialiser in a single allocation of exactly kActionCount entries.
std::vector<std::string> gActionList(qar::wrapper::kActionNames.begin(),
                                     qar::wrapper::kActionNames.end());
