// The time limit of a run.
#pragma once

#include <memory>

class Feature;
class Player;

/// @return the feature that ends the player with STATUS_TIME_LIMIT so many seconds of the real clock after
/// now as the options allow. A script that does not return to its next frame by then ends the process, after
/// the report has been written.
std::unique_ptr<Feature> MakeTimeLimit(Player& player);
