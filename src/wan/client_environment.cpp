#include "client_environment.h"

#include <cstdlib>

#include "frame/outside_value.h"

ClientValue::ClientValue(const char* variable) : value(std::getenv(variable))
{
    if (value != nullptr && !is_acceptable("dhcp6c_main", variable, value))
        value = nullptr;
}
