#pragma once

#include <iostream>
#include <stdexcept>

#include "sim/process/StopSignals.h"

namespace vms::sim {

/// Runs a simulator until a stop signal comes.
/// @param build makes its options; throws std::invalid_argument for a mistake in the arguments
/// @return exit status: 0 done, 1 something could not be opened, 2 wrong arguments
template <class Simulator, class Build>
int RunSimulation(const Build& build) {
    try {
        const auto options = build();
        Simulator simulator(options);
        simulator.Announce(std::cout);
        WaitForStopSignal();
        if (!options.statsFile.empty())
            simulator.WriteStats(options.statsFile);
        return 0;
    } catch (const std::invalid_argument& error) {
        std::cerr << "devsim: " << error.what() << '\n';
        return 2;
    } catch (const std::exception& error) {
        std::cerr << "devsim: " << error.what() << '\n';
        return 1;
    }
}

}  // namespace vms::sim
