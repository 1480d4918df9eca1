# The fast road against the line builders, tier by tier: looks below the exported names.
dibprep_test(NAME transform_tier_tests
  SOURCES tier_support.cpp tier_test.cpp tier_kernel_test.cpp tier_estimate_test.cpp tier_bits_test.cpp
    tier_scratch_test.cpp tier_source_change_test.cpp
  LINK dibprep_core test_host dibhost)
# Scratch memory fails on demand: the library's calloc is the test's.
target_link_options(transform_tier_tests PRIVATE LINKER:--wrap=calloc)
