-- Programs look for songs in memory, with all texts of song_text. Only names are looked for here.
DROP INDEX song_text_own;
DROP FUNCTION own_lines(text);
