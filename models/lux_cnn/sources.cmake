list(APPEND SC_SOURCES
  ${CMAKE_SOURCE_DIR}/models/lux_cnn/GaussianFit.cpp
  ${CMAKE_SOURCE_DIR}/models/lux_cnn/LuxCNN.cpp
  ${CMAKE_SOURCE_DIR}/models/lux_cnn/LuxCNNCalibration.cpp
  ${CMAKE_SOURCE_DIR}/models/lux_cnn/StubModels.cpp)

# Compiled-in data: the nine weight sets, and the luminance table with the
# default weight maps.
sc_model_data(NAME lux_cnn_weights
  INPUT ${CMAKE_SOURCE_DIR}/models/lux_cnn/data/lux_cnn_trained_sim_v1.safetensors
  MANIFEST ${CMAKE_SOURCE_DIR}/models/lux_cnn/data/lux_cnn_weights.tensors.txt
  NAMESPACE lux_cnn_weights
  HEADER models/lux_cnn/LuxCNNWeights.h)
sc_model_data(NAME lux_cnn_tables
  INPUT ${CMAKE_SOURCE_DIR}/models/lux_cnn/data/lux_cnn_tables.safetensors
  MANIFEST ${CMAKE_SOURCE_DIR}/models/lux_cnn/data/lux_cnn_tables.tensors.txt
  NAMESPACE lux_cnn_tables
  HEADER models/lux_cnn/LuxCNNTables.h)
