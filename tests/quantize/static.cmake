# The fixed palette and its search cube.
dibprep_test(NAME static_palette_tests
  SOURCES static_cube_test.cpp static_cube_failure_test.cpp
  LINK test_host dibprep dibhost)
