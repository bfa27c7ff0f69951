#include "foundation/StringEncoding.h"
