#include "ServiceFixture.h"
