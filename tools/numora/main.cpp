// numora: whole-record analysis of vibration recordings from the command
// line. Each subcommand parses its arguments here, calls the whole-record
// layer and writes its outputs; a bad input ends it with one line on stderr
// and exit status 1 (2 for arguments the parser refuses).

#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>
#include <string>

#include "numora/version.h"
#include "recording/error.h"
#include "tools/numora/common.h"

namespace {

using namespace numora::cli;

void AddRecording(CLI::App* app, RecordingArgs& args)
{
    app->add_option("recording", args.path, "Recording: .wav, .w64, .flac, or .csv with a time column")->required();
    app->add_option("--rate", args.rate, "Sample rate in Hz of a CSV recording without a time column");
    app->add_option("--scale", args.scale, "Factor on every sample read (engineering units per file unit)");
}

void AddSpectrum(CLI::App* app, SpectrumArgs& args)
{
    app->add_option("--frame", args.frame, "Frame size: a power of two from 4 to 32768");
    app->add_option("--overlap", args.overlap, "Overlap of frames in percent, 0 up to 100");
    app->add_option("--window", args.window, "Window: hann, hamming, blackman, harris, flattop or none");
    app->add_option("--average", args.average,
                    "Averaging: linear, exponential, peak-hold, max-line, max-power or max-band3");
    app->add_option("--exp-frames", args.expFrames, "Frames of an exponential average");
    app->add_flag("--full-band", args.fullBand,
                  "Keep every line below half the sample rate, not only the anti-aliased band (frame / 2.56 lines)");
}

}  // namespace

int main(int argc, char** argv)
{
    CLI::App app{"Whole-record analysis of vibration recordings with Numora " NUMORA_VERSION_STRING, "numora"};
    app.option_defaults()->always_capture_default();
    app.require_subcommand(1);
    app.set_version_flag("--version", NUMORA_VERSION_STRING);

    PsdArgs psd;
    CLI::App* psdCmd = app.add_subcommand("psd", "Averaged PSD, overall and band RMS, and the check against a profile");
    AddRecording(psdCmd, psd.recording);
    psdCmd->add_option("--channel", psd.channels, "Channels: all, or numbers from 1 such as 1,3");
    AddSpectrum(psdCmd, psd.spectrum);
    psdCmd->add_option("--band", psd.bands, "A band LOW:HIGH in Hz whose RMS is reported; repeatable");
    psdCmd->add_option("--profile", psd.profile, "Test profile (CSV) to check against and draw");
    psdCmd->add_option("--unit", psd.unit, "Unit of the samples, for the report and the plot");
    psdCmd->add_option("-o,--output", psd.output, "CSV of the PSD with its frequency axis");
    psdCmd->add_option("--plot", psd.plots, "Plot, .svg or .png; repeatable");

    FrfArgs frf;
    CLI::App* frfCmd = app.add_subcommand("frf", "H1 frequency response (gain and phase) and coherence");
    AddRecording(frfCmd, frf.recording);
    frfCmd->add_option("response-recording", frf.responsePath,
                       "A second recording holding the response channel (same sample rate)");
    frfCmd->add_option("--ref", frf.reference, "Channel of the reference (excitation), from 1");
    frfCmd->add_option("--resp", frf.response, "Channel of the response, from 1");
    AddSpectrum(frfCmd, frf.spectrum);
    frfCmd->add_option("--ref-unit", frf.referenceUnit, "Unit of the reference");
    frfCmd->add_option("--resp-unit", frf.responseUnit, "Unit of the response");
    frfCmd->add_option("-o,--output", frf.output, "CSV of gain, phase and coherence with the frequency axis");
    frfCmd->add_option("--plot", frf.plots, "Plot, .svg or .png; repeatable");

    SrsArgs srs;
    CLI::App* srsCmd = app.add_subcommand("srs", "Shock response spectra of one channel");
    AddRecording(srsCmd, srs.recording);
    srsCmd->add_option("--channel", srs.channel, "Channel, from 1");
    srsCmd->add_option("--q", srs.q, "Quality factor Q; the damping is 1 / 2Q");
    srsCmd->add_option("--bands-per-octave", srs.bandsPerOctave, "Bands per octave");
    srsCmd->add_option("--fmin", srs.fmin, "Lowest natural frequency in Hz");
    srsCmd->add_option("--fmax", srs.fmax, "Highest natural frequency in Hz");
    srsCmd->add_option("--filter", srs.filter,
                       "iso: ramp-invariant filter of ISO 18431-4; impulse: impulse-invariant filter");
    srsCmd->add_option("--series", srs.series, "Band series: ansi (base ten) or acoustic (base two)");
    srsCmd->add_option("--response", srs.response,
                       "absolute: acceleration of the mass; relative: relative displacement times w^2");
    srsCmd->add_option("--start-ms", srs.startMs, "Start of the analysed stretch in ms");
    srsCmd->add_option("--end-ms", srs.endMs, "End of the analysed stretch in ms (0: the end of the record)");
    srsCmd->add_option("--unit", srs.unit, "Unit of the samples, for the report and the plot");
    srsCmd->add_option("-o,--output", srs.output, "CSV of the seven spectra with the frequency series");
    srsCmd->add_option("--plot", srs.plots, "Plot, .svg or .png; repeatable");

    DriveArgs drive;
    CLI::App* driveCmd = app.add_subcommand("drive", "Random drive that meets a profile, with its PSD as the check");
    driveCmd->add_option("--profile", drive.profile, "Test profile (CSV)")->required();
    driveCmd->add_option("--rate", drive.rate, "Sample rate in Hz");
    driveCmd->add_option("--seconds", drive.seconds, "Duration in seconds");
    driveCmd->add_option("--clip", drive.clip, "Clip at this many times the profile's RMS (0: no clip)");
    driveCmd->add_option("--frame", drive.frame, "Samples of each band's base period (power of two)");
    driveCmd->add_option("--seed", drive.seed, "Random seed; the same seed gives the same drive");
    driveCmd->add_option("--unit", drive.unit, "Unit of the profile's levels, for the report and the plot");
    driveCmd->add_option("-o,--output", drive.output, "The drive: .wav, .w64, .flac or .csv")->required();
    driveCmd->add_option("--csv", drive.csv, "CSV of the drive's PSD against the profile");
    driveCmd->add_option("--plot", drive.plots,
                         "Plot of the drive's PSD against the profile, .svg or .png; repeatable");

    FilterArgs filter;
    CLI::App* filterCmd = app.add_subcommand("filter", "Filters a recording with a recursive (IIR) design");
    AddRecording(filterCmd, filter.recording);
    filterCmd->add_option("--channel", filter.channels, "Channels: all, or numbers from 1 such as 1,3");
    filterCmd->add_option("--type", filter.type, "butterworth, bessel or chebyshev");
    filterCmd->add_option("--shape", filter.shape, "lowpass, highpass, bandpass or bandstop");
    filterCmd->add_option("--order", filter.order, "Order, 1 to 10");
    filterCmd->add_option("--f1", filter.f1, "Corner, or lower band edge, in Hz")->required();
    filterCmd->add_option("--f2", filter.f2, "Upper band edge in Hz (bandpass, bandstop)");
    filterCmd->add_option("--ripple-db", filter.ripple, "Chebyshev pass-band ripple in dB, below 0");
    filterCmd->add_flag("--direct", filter.direct,
                        "Run the exact direct form instead of second-order sections (modest orders and corners)");
    filterCmd->add_option("-o,--output", filter.output, "Filtered recording: .wav, .w64, .flac or .csv")->required();
    filterCmd->add_option("--csv", filter.csv, "CSV of the filter's response");
    filterCmd->add_option("--plot", filter.plots, "Plot of the filter's response, .svg or .png; repeatable");

    IntegrateArgs integrate;
    CLI::App* integrateCmd =
        app.add_subcommand("integrate", "Acceleration to velocity and displacement, with the run's limits");
    AddRecording(integrateCmd, integrate.recording);
    integrateCmd->add_option("--channel", integrate.channels, "Channels: all, or numbers from 1 such as 1,3");
    integrateCmd->add_option("--unit", integrate.unit, "Acceleration unit of the samples: g, m/s², ...");
    integrateCmd->add_flag("--english", integrate.english, "Velocity in in/s and displacement in in (else m/s and mm)");
    integrateCmd->add_option("--block-seconds", integrate.blockSeconds,
                             "Block of the run in seconds; the drift filter works within each block");
    integrateCmd
        ->add_option("-o,--output", integrate.output,
                     "Recording of velocity and displacement: .wav, .w64, .flac or .csv")
        ->required();
    integrateCmd->add_option("--csv", integrate.csv, "CSV of the limits of acceleration, velocity and displacement");

    UnitsArgs units;
    CLI::App* unitsCmd = app.add_subcommand("units", "Lists the engineering units, or resolves unit strings");
    unitsCmd->add_option("unit", units.units, "Unit strings to resolve (UTF-8, such as m/s² or psi)");
    unitsCmd->add_option("-o,--output", units.output, "CSV file instead of standard output");

    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& e) {
        return app.exit(e);
    } catch (const CLI::CallForAllHelp& e) {
        return app.exit(e);
    } catch (const CLI::CallForVersion& e) {
        return app.exit(e);
    } catch (const CLI::ParseError& e) {
        std::fprintf(stderr, "numora: %s (see numora --help)\n", e.what());
        return 2;
    }

    try {
        if (*psdCmd)
            return RunPsd(psd);
        if (*frfCmd)
            return RunFrf(frf);
        if (*srsCmd)
            return RunSrs(srs);
        if (*driveCmd)
            return RunDrive(drive);
        if (*filterCmd)
            return RunFilter(filter);
        if (*integrateCmd)
            return RunIntegrate(integrate);
        if (*unitsCmd)
            return RunUnits(units);
    } catch (const numora::rec::Error& e) {
        std::fprintf(stderr, "numora: %s\n", e.what());
        return 1;
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "numora: out of memory\n");
        return 1;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "numora: %s\n", e.what());
        return 1;
    }
    return 0;
}
