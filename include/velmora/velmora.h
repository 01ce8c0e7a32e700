// Everything that a host of the Velmora plug-in needs.
#pragma once

#include <velmora/ad_review.h>
#include <velmora/categories.h>
#include <velmora/data_buffer.h>
#include <velmora/data_context.h>
#include <velmora/data_processor.h>
#include <velmora/identifier.h>
#include <velmora/item_listener.h>
#include <velmora/module.h>
#include <velmora/page_listener.h>
#include <velmora/page_protection.h>
#include <velmora/status.h>
#include <velmora/trouble_listener.h>
