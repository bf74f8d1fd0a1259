#include "VKTCoreKit/player/VKTMediaProfile.h"
