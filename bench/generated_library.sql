-- A library of any size for tests of plans and for measurements: generate_library(tracks, rater).
--
-- Ten tracks an album, three albums an artist, twenty genres of which every tenth track has two,
-- one track in fifty virtual (a file of its own, split into four), one in seven rated by the user
-- `rater`.
CREATE OR REPLACE FUNCTION pg_temp.generate_library(tracks integer, rater integer) RETURNS void
LANGUAGE plpgsql AS $$
BEGIN
    CREATE TEMP TABLE generated ON COMMIT DROP AS
    SELECT n AS id,
           n / 10 AS album,
           n / 30 AS artist,
           n % 20 AS genre,
           n % 50 < 5 AS split,
           n % 50 BETWEEN 1 AND 4 AS is_virtual
      FROM generate_series(0, tracks - 1) n;

    INSERT INTO track (id, path, title, title_sort, filesize, year, frequency, channel, bitrate,
                       duration, track, disc, container, codec, is_virtual, has_virtual, agg_genre,
                       agg_genre_sort)
    SELECT id + 1,
           format('/volume1/music/Artist %s/Album %s/%s.mp3', artist, album,
                  CASE WHEN split THEN id / 50 * 50 ELSE id END),
           format('Title %s of %s', md5(id::text), id),
           format('Title %s of %s', md5(id::text), id),
           4000000 + id, 1960 + album % 60, 44100, 2, 320000, 120 + id % 300, id % 10 + 1, 1,
           'mp3', 'mp3', is_virtual, split AND NOT is_virtual,
           'Genre ' || genre || CASE WHEN id % 10 = 3 THEN ', Other' ELSE '' END,
           'Genre ' || genre || CASE WHEN id % 10 = 3 THEN ', Other' ELSE '' END
      FROM generated;

    INSERT INTO album_track (track, album, album_sort, album_artist, album_artist_sort)
    SELECT id + 1, 'Album ' || album, 'Album ' || album,
           CASE WHEN artist % 4 = 0 THEN 'Artist ' || artist ELSE '' END,
           CASE WHEN artist % 4 = 0 THEN 'Artist ' || artist ELSE '' END
      FROM generated;
    INSERT INTO artist_track (track, artist, artist_sort, has_album_artist)
    SELECT id + 1, 'Artist ' || artist, 'Artist ' || artist, artist % 4 = 0 FROM generated;
    INSERT INTO composer_track (track, composer, composer_sort)
    SELECT id + 1, CASE WHEN id % 5 = 0 THEN 'Composer ' || artist % 100 ELSE '' END,
           CASE WHEN id % 5 = 0 THEN 'Composer ' || artist % 100 ELSE '' END
      FROM generated;
    INSERT INTO genre_track (track, genre, genre_sort)
    SELECT id + 1, 'Genre ' || genre, 'Genre ' || genre FROM generated
    UNION ALL
    SELECT id + 1, 'Other', 'Other' FROM generated WHERE id % 10 = 3;
    INSERT INTO virtual_info_track (track, audio_offset, cue_sheet_path)
    SELECT id + 1, 60 * (id % 50), format('/volume1/music/Artist %s/Album %s/%s.cue', artist, album,
                                          id / 50 * 50)
      FROM generated WHERE is_virtual;
    INSERT INTO rating_track (userid, track, star)
    SELECT rater, id + 1, id % 6 FROM generated WHERE id % 7 = 0;
END
$$;
