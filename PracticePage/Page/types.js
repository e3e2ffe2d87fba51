/**
 * What the server sends and the page keeps. Frames are those of the recording.
 *
 * @typedef {{number: number, frame: number, end: number, beats: number[]}} Bar
 *   Bars ascend; the number of a pickup is 0 or less.
 * @typedef {{id: number, frame: number, end: number, name: string, simpleName: string,
 *   confidence: number | null}} Chord
 * @typedef {{id: number, frame: number, end: number, name: string, color: string}} Section
 * @typedef {{id: number, frame: number, end: number, name: string}} Region
 * @typedef {{id: number, frame: number, name: string}} Marker
 * @typedef {{revision: number, title: string, artist: string, fileName: string, sampleRate: number,
 *   soundRate?: number, length: number, state: 'ready' | 'analyzing' | 'failed', failure?: string | null, progress: number, stage: string,
 *   key: string, tempo: number | null, timeSignature: string, capo: number, transposition: number,
 *   standardPitch: number | null, soundReason: string | null, soundAsk: string | null,
 *   documentFolder: string | null, canEdit: boolean, bars: Bar[], chords: Chord[], sections: Section[],
 *   regions: Region[], markers: Marker[], practice: Partial<PracticeValues>}} SongAnswer
 *
 * @typedef {{x: number, width: number, text: string, id: number, repeated: boolean}} RowText
 *   Places in a row are CSS pixels from its left edge. What is repeated goes on from the row before.
 * @typedef {RowText & {frame: number, end: number}} RowSpan
 * @typedef {{index: number, frame: number, end: number, bars: {number: number, x: number}[], beats: number[],
 *   chords: (RowText & {confidence: number | null})[], sections: (RowSpan & {color: string, dark: boolean})[],
 *   regions: (RowSpan & {lane: number})[], markers: {id: number, frame: number, x: number, text: string}[],
 *   pieces: [number, number][]}} Row
 * @typedef {{revision: number, rowCount: number, starts?: number[], rows: Row[]}} RowsAnswer
 *
 * @typedef {[number, number]} Loop  First frame, and the one after the last.
 * @typedef {'guitar' | 'ukulele' | 'bass' | 'piano'} Instrument
 * @typedef {{speed: number, loop: Loop | null, snap: 'bar' | 'beat' | 'none', countIn: 0 | 1 | 2,
 *   countInEach: boolean, click: {on: boolean, rate: 0.5 | 1 | 2}, volumes: {song: number, click: number},
 *   trainer: {on: boolean, step: number, rounds: number, goal: number}, semitones: number, follow: boolean,
 *   tune: boolean, simple: boolean, spectrogram: boolean, instrument: Instrument, zoom: number, speak: boolean,
 *   position: number, language: 'en' | 'de' | null}} PracticeValues
 *
 * @typedef {{stream: string, sampleRate: number, channels: number, blockFrames: number}} StreamAnswer
 * @typedef {[sample: number, songFrame: number, songFramesPerSample: number]} StreamSegment
 * @typedef {{channels: Float32Array<ArrayBuffer>[], length: number, segments: StreamSegment[],
 *   isLast: boolean}} StreamBlock
 * @typedef {{before: number, downbeat: boolean}} CountInBeat  Seconds before the start at full speed.
 * @typedef {{baseFret: number, frets: number[]}} Fingering  Lowest string first; -1 is not played.
 * @typedef {{name: string, fingerings: Fingering[], notes: number[]}} ChordAnswer
 * @typedef {{session: string, language: 'en' | 'de' | null, canEdit: boolean, lan?: boolean}} SessionAnswer
 */

export {};
