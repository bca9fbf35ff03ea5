// Nothing but the header in front: it must bring all it needs.
#include "common/ztk_shared_view.h"

#include "tests/shared_view/consumers.h"
#define CONSUMER(name) Cxx11##name
#include "tests/shared_view/consumer_body.inc"
