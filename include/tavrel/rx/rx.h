#pragma once
// The whole reactive layer: streams, subjects and relays, operators,
// schedulers, `Single` and `Driver`.

#include "tavrel/rx/disposable.h"
#include "tavrel/rx/driver.h"
#include "tavrel/rx/event.h"
#include "tavrel/rx/main_queue.h"
#include "tavrel/rx/observable.h"
#include "tavrel/rx/observer.h"
#include "tavrel/rx/scheduler.h"
#include "tavrel/rx/single.h"
#include "tavrel/rx/subjects.h"
#include "tavrel/rx/test_scheduler.h"
