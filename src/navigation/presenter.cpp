#include "tavrel/navigation/presenter.h"
