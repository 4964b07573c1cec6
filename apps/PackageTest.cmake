# Consumer test (label "package"): installs this build into a scratch prefix, then configures,
# builds and runs tests/package against it with find_package(QORCoordTransform), and runs the
# installed qor-meridional. It needs the whole build (run it after building all targets).

set(QOR_PACKAGE_TEST_FLAGS "")
if(QOR_SANITIZE)
  # A consumer of the sanitised library must load the sanitiser runtime first.
  set(QOR_PACKAGE_TEST_FLAGS "-fsanitize=address,undefined")
endif()
add_test(NAME package.find_package_consumer
  COMMAND ${CMAKE_COMMAND}
    -DBUILD_DIR=${PROJECT_BINARY_DIR}
    -DCONSUMER_DIR=${PROJECT_SOURCE_DIR}/tests/package
    -DWORK_DIR=${PROJECT_BINARY_DIR}/package-test
    -DGENERATOR=${CMAKE_GENERATOR}
    -DCXX_COMPILER=${CMAKE_CXX_COMPILER}
    -DBUILD_TYPE=${CMAKE_BUILD_TYPE}
    "-DEXTRA_FLAGS=${QOR_PACKAGE_TEST_FLAGS}"
    -P ${CMAKE_CURRENT_SOURCE_DIR}/tests/PackageConsumer.cmake)
set_tests_properties(package.find_package_consumer PROPERTIES LABELS "package;apps" TIMEOUT 600
  # Installing rewrites the scratch prefix: keep it away from concurrent runs of itself.
  RESOURCE_LOCK qor_package_prefix)
