# The resampler, the utilities and the image helpers against their slow second versions.
dibprep_test(NAME oracle_utilities_tests
             SOURCES bilinear_oracle.cpp dib_oracle.cpp depth_oracle.cpp rle_oracle.cpp image_oracle.cpp
                     bilinear_compare_test.cpp bilinear_parts_compare_test.cpp dib_compare_test.cpp
                     depth_compare_test.cpp rle_compare_test.cpp image_compare_test.cpp
             LINK test_host dibprep dibhost)
