#pragma once

// Umbrella header: every public family of the library.
#include <ut/ut_export.h>
#include <ut/ut_config.h>
#include <ut/ut_confignode.h>
#include <ut/ut_configstorage.h>
#include <ut/ut_devsettings.h>
#include <ut/ut_encodings.h>
#include <ut/ut_json.h>
#include <ut/ut_log.h>
#include <ut/ut_parser.h>
#include <ut/ut_hooks.h>
#include <ut/ut_profile.h>
#include <ut/ut_registry.h>
#include <ut/ut_regstore.h>
#include <ut/ut_reporter_message.h>
#include <ut/ut_sorting.h>
#include <ut/ut_strings.h>
#include <ut/ut_tracer.h>
#include <ut/ut_uuid.h>
#include <ut/ut_version.h>
