-- When a share link was made; of one that is there already, when this column was.
ALTER TABLE playlist_sharing ADD COLUMN made timestamptz NOT NULL DEFAULT now();
