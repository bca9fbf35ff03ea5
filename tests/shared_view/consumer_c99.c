/* Nothing but the header in front: it must bring all it needs, without feature macros. */
#include "common/ztk_shared_view.h"

#include "tests/shared_view/consumers.h"
#define CONSUMER(name) C99##name
#include "tests/shared_view/consumer_body.inc"
