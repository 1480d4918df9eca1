# The fast forms of the quantiser against its scalar forms, on every tier of this processor.
dibprep_test(NAME quantize_tier_tests
  SOURCES tier_test.cpp tier_map_test.cpp tier_palette_test.cpp tier_pictures.cpp
  LINK test_host dibprep_core dibprep_headers dibhost)
