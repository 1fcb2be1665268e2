# The regression network, its calibration and its compiled-in data (weight
# sets and reference tables, generated from the files in data/).
set(SC_LR_DATA ${CMAKE_SOURCE_DIR}/models/light_regression/data)
sc_model_data(NAME sc-light-regression-weights
  INPUT ${SC_LR_DATA}/light_regression_trained_sim_v1.safetensors
  MANIFEST ${SC_LR_DATA}/weights.tensors.txt
  NAMESPACE light_regression_weights
  HEADER models/light_regression/LightRegressionWeights.h)
sc_model_data(NAME sc-light-regression-tables
  INPUT ${SC_LR_DATA}/light_regression_reference_tables_sim_v1.safetensors
  MANIFEST ${SC_LR_DATA}/tables.tensors.txt
  NAMESPACE light_regression_tables
  HEADER models/light_regression/LightRegressionTables.h)
list(APPEND SC_SOURCES
  ${CMAKE_SOURCE_DIR}/models/light_regression/Kernels.cpp
  ${CMAKE_SOURCE_DIR}/models/light_regression/LightRegression.cpp)
