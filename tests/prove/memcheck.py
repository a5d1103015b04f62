"""Runs test programs under valgrind's memcheck, without suppressions. Each case of a program is a process of its own."""
import concurrent.futures
import glob
import os
import re
import shutil

import figure

FOLDERS = ["file", "logger", "macapi", "macapi/mechanism", "core", "core/mechanism", "watch"]
REPORTED = 99  # the status of a process in which memcheck found something

APPKIT = "starts AppKit, which has thousands of reports of its own"
SERVER = "starts window servers"
OTHERS = "starts programs, which memcheck does not follow"
PAGES = "reads whole pages of its own memory, which nothing has written to"
LEFT_OUT = {
    "platform_alert_test": APPKIT,
    "platform_place_test": APPKIT,
    "platform_screen_test": APPKIT,
    "platform_startup_test": APPKIT,
    "platform_startup_trouble_test": APPKIT,
    "macapi_bridge_test": APPKIT,
    "macapi_bridge_early_test": APPKIT,
    "macapi_keys_test": APPKIT,
    "macapi_cursor_test": SERVER,
    "macapi_display_test": SERVER,
    "macapi_probe_test": SERVER,
    "macapi_bundle_test": OTHERS,
    "macapi_launch_test": OTHERS,
    "macapi_rights_test": OTHERS,
    "gamewatch_test": PAGES,
    "walk_test": PAGES,
}
# Cases that replace functions which memcheck replaces too (malloc, calloc, operator delete), so that they cannot refuse or count
# memory; that compare bytes which nothing has written; that need the descriptors of valgrind; or whose leak is deliberate
# (Preferences::init for a path that a later init replaces).
CASES_LEFT_OUT = {
    "file_test": ["File.EveryCloseAndEveryRefusalFreesDescriptorAndMemory"],
    "logger_test": ["Log.WithoutMemory*"],
    "macapi_preferences_trouble_test": ["UnreadablePreferences.TooLargeForMemoryAreLeftAloneAndNothingIsThrown"],
    "macapi_symbols_test": ["Symbols.AreNotFoundWithoutMemoryAndTheProcessContinues"],
    "memorymgr_check_test": ["Check.ChangesNothing"],
    "memorymgr_index_test": ["Index.TakesLessThanOnePercentOfItsBankAndHalfAPercentOfALargeOne",
                             "Index.ABankWorksWithoutMemoryForItsIndex",
                             "Index.NeedsBothOfItsBlocksAndGivesTheOtherOneBack",
                             "Index.IsGivenUpForGoodWhenItsBankContradictsIt"],
    "memorymgr_own_calloc_test": ["OwnCalloc.From*"],
    "memorymgr_refs_test": ["Tables.WithoutMemory*", "Tables.ANullNameTakesNoPlaceOfAName"],
    "preferences_test": ["Preferences.InitIsTrueForAnyPathAndTheLastOneCounts",
                         "Preferences.TheEndOfAnObjectFreesThePath"],
    "platform_time_watch_test": ["PlatformTimeWatch.AThreadsRecordIsReleasedLastOfAll"],
}


def programs(place):
    place.program("release", "tests", "file", "file_test")
    tests = os.path.join(place.source, "build", "release", "tests")
    found = [path for folder in FOLDERS for path in sorted(glob.glob(os.path.join(tests, folder, "*_test")))]
    return [path for path in found if os.path.basename(path) not in LEFT_OUT]


def check(path, reports):
    """Returns how many cases have run, and the faults."""
    name = os.path.basename(path)
    result = figure.run(
        ["valgrind", "-q", f"--error-exitcode={REPORTED}", "--leak-check=full", "--show-leak-kinds=definite",
         "--errors-for-leak-kinds=definite", f"--log-file={reports}/{name}.%p", path, "--gtest_brief=1",
         "--gtest_filter=*-" + ":".join(CASES_LEFT_OUT.get(name, []))],
        env={**os.environ, "CASES_APART": "1", "FEW_ROUNDS": "1"})
    faults = [f"memcheck, {name}: {case}" for case in re.findall(r"^CASE FAILED: (.*)", result.stdout, re.MULTILINE)]
    if not faults and (result.returncode != 0 or not re.search(r"^\d+ cases apart", result.stdout, re.MULTILINE)):
        faults.append(f"memcheck, {name}: {figure.last_lines(result.stdout)}")
    return len(re.findall(r"^\[=+\] 1 test from .* ran", result.stdout, re.MULTILINE)), faults


def run(place):
    """Returns the text for the table and the faults. The reports are in build/run/prove/memcheck."""
    if not shutil.which("valgrind"):
        raise figure.NotMeasured("there is no valgrind")
    reports = os.path.join(place.own, "memcheck")
    shutil.rmtree(reports, ignore_errors=True)
    os.makedirs(reports)
    checked = programs(place)
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count() or 1) as pool:
        results = list(pool.map(lambda path: check(path, reports), checked))
    faults = [fault for _, found in results for fault in found]
    return f"memcheck: {sum(cases for cases, _ in results)} cases of {len(checked)} programs", faults
