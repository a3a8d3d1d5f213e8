# Test fixture: makes sure node and npm are there and that web/node_modules matches
# web/package-lock.json, running `npm ci --prefix web` when it is missing or older.
# -DWEB_DIR=<source web folder>
set(install_hint "apt-get install -y nodejs npm chromium")
foreach(tool node npm)
  find_program(${tool}_path ${tool})
  if(NOT ${tool}_path)
    message(FATAL_ERROR "'${tool}' is not installed; the page tests need it: ${install_hint}")
  endif()
endforeach()

set(lock "${WEB_DIR}/package-lock.json")
set(stamp "${WEB_DIR}/node_modules/.package-lock.json")
if(EXISTS "${stamp}" AND NOT "${lock}" IS_NEWER_THAN "${stamp}")
  message(STATUS "web/node_modules is up to date with package-lock.json")
  return()
endif()

message(STATUS "npm ci --prefix ${WEB_DIR}")
set(ENV{PLAYWRIGHT_SKIP_BROWSER_DOWNLOAD} 1)
execute_process(COMMAND "${npm_path}" ci --prefix "${WEB_DIR}" --no-audit --no-fund
                RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "npm ci --prefix ${WEB_DIR} failed (${status})")
endif()
