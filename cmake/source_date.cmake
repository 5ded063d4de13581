# REHOME_SOURCE_DATE: seconds since 1970 of what is built, so that whatever bears a date bears the same
# one in every build: SOURCE_DATE_EPOCH, else the time of the commit, else now.
set(REHOME_SOURCE_DATE $ENV{SOURCE_DATE_EPOCH})
if(NOT REHOME_SOURCE_DATE)
    execute_process(
        COMMAND git log -1 --format=%ct
        WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
        OUTPUT_VARIABLE REHOME_SOURCE_DATE
        OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET
        RESULT_VARIABLE ignored)
endif()
if(NOT REHOME_SOURCE_DATE)
    string(TIMESTAMP REHOME_SOURCE_DATE %s UTC)
endif()
set(ENV{SOURCE_DATE_EPOCH} ${REHOME_SOURCE_DATE})
string(TIMESTAMP REHOME_DATE %Y-%m-%d UTC)
string(TIMESTAMP REHOME_CHANGELOG_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)
