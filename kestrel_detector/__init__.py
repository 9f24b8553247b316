"""Kestrel's default detector.

One ffmpeg decodes the video and hands over every picture as a small one with its true timestamp. A cheap distance is
measured for every picture; only where something happens do the deciders look closer. What they found is cached, so
another profile or padding needs no second decoding.
"""
