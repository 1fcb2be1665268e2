#include "models/lux_cnn/LuxCNN.h"

// Variants without a model in this build: nothing to compute.
void LuxCNN0x8x::model_predict(int (*)[1][1], int, int) {}
void LuxCNNB::model_predict(int (*)[1][1], int, int) {}
void LuxCNNForth::model_predict(int (*)[1][1], int, int) {}
void LuxCNNSecond::model_predict(int (*)[1][1], int, int) {}
void LuxCNNThird::model_predict(int (*)[1][1], int, int) {}
