-- The row of the file that a cue sheet's track is a part of: two rows may have the same path while
-- files are renamed over each other. 0: a track whose file is not in the library.
ALTER TABLE virtual_info_track ADD COLUMN file_track integer NOT NULL DEFAULT 0;

UPDATE virtual_info_track i SET file_track = f.id FROM track v JOIN track f ON f.path = v.path
    AND f.userid = v.userid AND f.has_virtual WHERE v.id = i.track AND v.is_virtual;

CREATE INDEX virtual_info_track_file ON virtual_info_track (file_track);
