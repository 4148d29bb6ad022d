#include "param_record.h"

constinit ParamRecord parm;
