// The tests read what the store says from standard error.
#include "store_message.h"

namespace {

[[maybe_unused]] const bool told = (store_messages_to_stderr(), true);

}
