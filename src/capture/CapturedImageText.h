#pragma once

struct ClipItem;
class Store;
class TextRecognizer;

// The capture step after the store has taken a new clip: an image's bytes go to the recogniser,
// and the text found is stored with Store::setOCR for every item holding exactly those bytes.
// Text items, and images without bytes, are left alone. Nothing is stored when no text is found
// or when the store is gone by the time the recogniser answers.
void recognizeCapturedImage(const ClipItem &item, TextRecognizer &recognizer, Store &store);
