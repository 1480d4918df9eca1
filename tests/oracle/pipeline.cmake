# The pipeline and the quantiser against their slow second versions.
dibprep_test(NAME oracle_pipeline_tests
             SOURCES random_pictures.cpp transform_oracle.cpp pipeline_oracle.cpp quantize_oracle.cpp quantize_fixture.cpp
                     pipeline_compare_test.cpp transform_compare_test.cpp line_compare_test.cpp
                     quantize_compare_test.cpp octree_compare_test.cpp
             LINK test_host dibprep dibhost)
