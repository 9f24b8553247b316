#pragma once

#include "CutLists/CutListKinds.h"
#include "Frames/FilmScan.h"

/// The pictures of a film by their numbers: what programs that count pictures are told, and what they tell.

/// The rate at which every picture of the film stands in its place, nearer than to a quarter of a picture; nothing
/// where pictures come at varying intervals.
[[nodiscard]] std::optional<FrameRate> constantRateOf(const FilmTimes& film);

/// Whether picture N stands at the time of N pictures, so that a time in units of a picture means that picture.
[[nodiscard]] bool beginsAtZero(const FilmTimes& film);

/// Fills in what the film tells of itself: rate, number of pictures, timecode of the first.
void describeFilm(CutList& list, const FilmTimes& film);

/// Gives each item the numbers of the very pictures that ffmpeg writes for its times. Throws CutListError for an item
/// within which no picture lies.
void numberPictures(CutList& list, const FilmTimes& film);

/// The numbers and what the film tells of itself, as far as this kind of list has a use for them. Throws CutListError
/// as numberPictures does.
void countPictures(CutList& list, const CutListKind& kind, const FilmTimes& film);

/// Gives each item with numbers the times by which ffmpeg writes these very pictures. Throws CutListError for numbers
/// beyond the film.
void timePictures(CutList& list, const FilmTimes& film);
